// A Qt window with known text for the capture tests: a label and a text editor, titled and
// named "Peekwell Qt window". Its text is given as the arguments: label, then editor. With
// "--file PATH" instead, the editor alone fills the window with that file's text, shown at
// its end, and the window is titled and named after the file ("big.txt").
#include <QApplication>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QTextEdit>
#include <QVBoxLayout>
#include <QWidget>

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    const QStringList arguments = QApplication::arguments();
    const bool fromFile = arguments.value(1) == QLatin1String("--file");
    const QString name =
        fromFile ? QFileInfo(arguments.value(2)).fileName() : QStringLiteral("Peekwell Qt window");
    QApplication::setApplicationName(name);
    QWidget window;
    window.setWindowTitle(name);
    auto* layout = new QVBoxLayout(&window);
    auto* editor = new QTextEdit;
    if (fromFile) {
        QFile file(arguments.value(2));
        if (!file.open(QIODevice::ReadOnly))
            return 1;
        editor->setPlainText(QString::fromUtf8(file.readAll()));
        editor->moveCursor(QTextCursor::End);
        layout->setContentsMargins(0, 0, 0, 0);
    } else {
        layout->addWidget(new QLabel(arguments.value(1)));
        editor->setPlainText(arguments.value(2));
    }
    layout->addWidget(editor);
    window.resize(520, 300);
    window.show();
    return application.exec();
}
