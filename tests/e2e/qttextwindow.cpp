// A Qt window with known text for the capture tests: a label and a text editor, titled and
// named "Peekwell Qt window". Its text is given as the arguments: label, then editor.
#include <QApplication>
#include <QLabel>
#include <QTextEdit>
#include <QVBoxLayout>
#include <QWidget>

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Peekwell Qt window"));
    const QStringList arguments = QApplication::arguments();
    QWidget window;
    window.setWindowTitle(QStringLiteral("Peekwell Qt window"));
    auto* layout = new QVBoxLayout(&window);
    layout->addWidget(new QLabel(arguments.value(1)));
    auto* editor = new QTextEdit;
    editor->setPlainText(arguments.value(2));
    layout->addWidget(editor);
    window.resize(520, 300);
    window.show();
    return application.exec();
}
