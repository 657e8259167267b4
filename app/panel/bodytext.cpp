#include "panel/bodytext.h"

#include <QAbstractTextDocumentLayout>
#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <cmath>

namespace {
constexpr qreal kExtraLineSpacing = 2;
}

BodyText::BodyText(const PanelStyle& style, QWidget* parent) : QTextEdit(parent)
{
    setReadOnly(true);
    setTextInteractionFlags(Qt::TextSelectableByMouse);
    setFocusPolicy(Qt::NoFocus);
    setFrameShape(QFrame::NoFrame);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    setLineWrapMode(QTextEdit::WidgetWidth);
    setContextMenuPolicy(Qt::DefaultContextMenu);
    document()->setDocumentMargin(0);
    setFont(PanelStyle::bodyFont());
    document()->setDefaultFont(PanelStyle::bodyFont());

    QPalette palette = style.palette();
    for (QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        palette.setColor(group, QPalette::Base, Qt::transparent);
        palette.setColor(group, QPalette::Window, Qt::transparent);
    }
    setPalette(palette);
    viewport()->setAutoFillBackground(false);
    setAutoFillBackground(false);
    viewport()->installEventFilter(this);

    QSizePolicy policy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
}

void BodyText::setBody(const AttributedText& text)
{
    if (text == m_body && !document()->isEmpty())
        return;
    m_body = text;
    document()->clear();
    QTextCursor cursor(document());
    QTextBlockFormat block;
    block.setLineHeight(kExtraLineSpacing, QTextBlockFormat::LineDistanceHeight);
    cursor.setBlockFormat(block);
    QTextCharFormat plain;
    QTextCharFormat bold;
    bold.setFontWeight(QFont::Bold);
    qsizetype at = 0;
    auto insert = [&](qsizetype from, qsizetype to, const QTextCharFormat& format) {
        if (to > from)
            cursor.insertText(text.text.mid(from, to - from), format);
    };
    for (const AttributedText::Range& range : text.emphasised) {
        insert(at, range.start, plain);
        insert(range.start, range.start + range.length, bold);
        at = range.start + range.length;
    }
    insert(at, text.text.size(), plain);
    // New blocks made by line breaks in the text take the spacing as well.
    for (QTextBlock b = document()->begin(); b.isValid(); b = b.next()) {
        QTextCursor c(b);
        c.setBlockFormat(block);
    }
    updateGeometry();
}

int BodyText::heightForWidth(int width) const
{
    std::unique_ptr<QTextDocument> measure(document()->clone());
    measure->setTextWidth(std::max(width, 1));
    return static_cast<int>(std::ceil(measure->size().height()));
}

QSize BodyText::sizeHint() const
{
    const int width = std::max(this->width(), 100);
    return {width, heightForWidth(width)};
}

QSize BodyText::minimumSizeHint() const
{
    return {0, heightForWidth(std::max(width(), 1))};
}

void BodyText::resizeEvent(QResizeEvent* event)
{
    QTextEdit::resizeEvent(event);
    verticalScrollBar()->setValue(0);
    updateGeometry();
}

bool BodyText::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == viewport() && event->type() == QEvent::MouseButtonPress) {
        auto* mouse = static_cast<QMouseEvent*>(event);
        m_pressed = mouse->button() == Qt::LeftButton;
        m_pressedAt = mouse->position().toPoint();
    }
    const bool handled = QTextEdit::eventFilter(watched, event);
    if (watched == viewport() && event->type() == QEvent::MouseButtonRelease) {
        auto* mouse = static_cast<QMouseEvent*>(event);
        const bool still = (mouse->position().toPoint() - m_pressedAt).manhattanLength() <
                           QApplication::startDragDistance();
        const bool wasPressed = m_pressed;
        m_pressed = false;
        if (wasPressed && mouse->button() == Qt::LeftButton && still &&
            !textCursor().hasSelection())
            Q_EMIT clicked();
    }
    return handled;
}

QMenu* BodyText::createCopyMenu()
{
    auto* menu = new QMenu(this);
    QAction* copy = menu->addAction(QStringLiteral("Copy"));
    connect(copy, &QAction::triggered, this, [this] {
        const QString selected = textCursor().selectedText();
        QString text = selected.isEmpty() ? toPlainText() : selected;
        // QTextCursor marks paragraph ends with U+2029.
        text.replace(QChar::ParagraphSeparator, QLatin1Char('\n'));
        QApplication::clipboard()->setText(text);
    });
    QAction* all = menu->addAction(QStringLiteral("Select All"));
    connect(all, &QAction::triggered, this, &QTextEdit::selectAll);
    return menu;
}

void BodyText::contextMenuEvent(QContextMenuEvent* event)
{
    QMenu* menu = createCopyMenu();
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->popup(event->globalPos());
    event->accept();
}
