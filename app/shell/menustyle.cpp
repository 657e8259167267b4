#include "shell/menustyle.h"

#include <QLabel>
#include <QLineEdit>

namespace MenuStyle {

PanelStyle current()
{
    return PanelStyle::forAppearance(PanelStyle::systemAppearance());
}

QLabel* caption(const QString& text, QWidget* parent, const QColor& color)
{
    auto* label = new QLabel(text, parent);
    label->setFont(PanelStyle::captionFont());
    label->setWordWrap(true);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, color.isValid() ? color : current().secondaryLabel);
    label->setPalette(palette);
    return label;
}

QLineEdit* field(const QString& placeholder, QWidget* parent)
{
    auto* edit = new QLineEdit(parent);
    edit->setPlaceholderText(placeholder);
    edit->setFont(PanelStyle::captionFont());
    edit->setFrame(true);
    return edit;
}

} // namespace MenuStyle
