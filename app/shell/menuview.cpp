#include "shell/menuview.h"

#include "settings/pref.h"

#include "shell/appstatus.h"
#include "shell/autostart.h"
#include "shell/menustyle.h"
#include "shell/menutexts.h"
#include "shell/recallsettingsview.h"
#include "shell/switchbutton.h"

#include <QComboBox>
#include <QCoreApplication>
#include <QEvent>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

namespace {

QColor green(const PanelStyle& style)
{
    return style.appearance == Appearance::Dark ? QColor(48, 209, 88) : QColor(36, 160, 64);
}

QLabel* bodyLabel(const QString& text, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setFont(PanelStyle::bodyFont());
    label->setWordWrap(true);
    return label;
}

QFrame* divider(QWidget* parent)
{
    auto* line = new QFrame(parent);
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Plain);
    QPalette palette = line->palette();
    palette.setColor(QPalette::WindowText, MenuStyle::current().separator);
    line->setPalette(palette);
    return line;
}

// A label of stacked lines, for the switches that carry more than their name.
QWidget* stack(QWidget* parent, int spacing, std::initializer_list<QWidget*> parts)
{
    auto* widget = new QWidget(parent);
    auto* layout = new QVBoxLayout(widget);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(spacing);
    for (QWidget* part : parts) {
        part->setParent(widget);
        layout->addWidget(part);
    }
    return widget;
}

} // namespace

MenuView::MenuView(AppStatus& status, Preferences& preferences, QWidget* parent)
    : QWidget(parent), m_status(status), m_preferences(preferences)
{
    const PanelStyle style = MenuStyle::current();
    QPalette palette = style.palette();
    palette.setColor(QPalette::Base, style.appearance == Appearance::Dark ? QColor(0x1c, 0x1c, 0x1e)
                                                                          : QColor(Qt::white));
    setPalette(palette);
    setAutoFillBackground(true);
    setFixedWidth(kWidth);
    setWindowTitle(QStringLiteral("Peekwell menu"));

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(14, 14, 14, 14);
    layout->setSpacing(10);

    auto* titleRow = new QHBoxLayout;
    auto* title = new QLabel(MenuTexts::title, this);
    title->setFont(PanelStyle::headlineFont());
    titleRow->addWidget(title);
    titleRow->addStretch(1);
    m_listening = MenuStyle::caption(QString(), this);
    m_listening->setWordWrap(false);
    titleRow->addWidget(m_listening);
    layout->addLayout(titleRow);
    m_hearing = MenuStyle::caption(QString(), this);
    layout->addWidget(m_hearing);

    m_accessNotice = new QWidget(this);
    auto* accessLayout = new QVBoxLayout(m_accessNotice);
    accessLayout->setContentsMargins(0, 0, 0, 0);
    accessLayout->setSpacing(6);
    accessLayout->addWidget(MenuStyle::caption(MenuTexts::accessibilityNotice, m_accessNotice));
    auto* grant = new QPushButton(MenuTexts::turnOnAccessibility, m_accessNotice);
    accessLayout->addWidget(grant, 0, Qt::AlignLeft);
    m_accessRefused =
        MenuStyle::caption(MenuTexts::accessibilityRefused, m_accessNotice, style.orange);
    m_accessRefused->hide();
    accessLayout->addWidget(m_accessRefused);
    layout->addWidget(m_accessNotice);
    connect(grant, &QPushButton::clicked, this,
            [this] { m_accessRefused->setVisible(!m_status.requestAccess()); });

    addSwitch(layout, MenuTexts::lookUpOnForceClick, Pref::enabled);
    addSwitch(layout, MenuTexts::takeOverPress, Pref::replaceLookUp)
        ->setToolTip(MenuTexts::takeOverPressHelp);
    m_startAtLogin = addSwitch(layout, bodyLabel(MenuTexts::startAtLogin, this),
                               MenuTexts::startAtLogin, QString());
    connect(m_startAtLogin, &SwitchButton::clicked, this, [this](bool on) {
        Autostart::setEnabled(on, QCoreApplication::applicationFilePath());
        m_startAtLogin->setChecked(Autostart::isEnabled());
    });
    layout->addWidget(divider(this));

    layout->addWidget(MenuStyle::caption(MenuTexts::tabs, this));

    m_appleModel = MenuStyle::caption(QString(), this);
    addSwitch(layout, stack(this, 1, {bodyLabel(MenuTexts::answer, this), m_appleModel}),
              MenuTexts::answer, Pref::answerOn);

    m_picker = new QComboBox(this);
    m_picker->setAccessibleName(MenuTexts::modelPicker);
    m_picker->setFont(PanelStyle::captionFont());
    for (const RecallModel model : RecallModel::allCases())
        m_picker->addItem(MenuTexts::modelLabel(model), model.rawValue());
    connect(m_picker, &QComboBox::activated, this, [this](int index) {
        m_preferences.setValue(Pref::recallModel, m_picker->itemData(index));
        showRecallSettings();
    });
    auto* recallLabel = stack(this, 4, {bodyLabel(MenuTexts::recall, this), m_picker});
    m_recallLayout = static_cast<QVBoxLayout*>(recallLabel->layout());
    addSwitch(layout, recallLabel, MenuTexts::recall, Pref::recallOn);

    m_chatsLine = MenuStyle::caption(QString(), this);
    addSwitch(layout, stack(this, 1, {bodyLabel(MenuTexts::chats, this), m_chatsLine}),
              MenuTexts::chats, Pref::chatsOn);

    m_libraryURL = MenuStyle::field(MenuTexts::libraryPlaceholder, this);
    connect(m_libraryURL, &QLineEdit::textEdited, this,
            [this](const QString& text) { m_preferences.setValue(Pref::libraryURL, text); });
    addSwitch(layout, stack(this, 4, {bodyLabel(MenuTexts::library, this), m_libraryURL}),
              MenuTexts::library, Pref::libraryOn);

    addSwitch(layout, MenuTexts::wikipedia, Pref::wikipediaOn);
    layout->addWidget(divider(this));

    auto* buttons = new QHBoxLayout;
    auto* tryIt = new QPushButton(MenuTexts::tryLookup, this);
    auto* quit = new QPushButton(MenuTexts::quit, this);
    buttons->addWidget(tryIt);
    buttons->addStretch(1);
    buttons->addWidget(quit);
    layout->addLayout(buttons);
    connect(tryIt, &QPushButton::clicked, this, [this] {
        Q_EMIT tryingLookup();
        m_status.tryLookup();
    });
    connect(quit, &QPushButton::clicked, this, &MenuView::quitRequested);

    connect(&m_status, &AppStatus::changed, this, &MenuView::updateStatus);
    updateStatus();
    reload();
}

SwitchButton* MenuView::addSwitch(QVBoxLayout* layout, QWidget* label, const QString& name,
                                  const QString& key)
{
    auto* row = new QHBoxLayout;
    row->setSpacing(8);
    row->addWidget(label, 1);
    auto* button = new SwitchButton(name, this);
    row->addWidget(button, 0, Qt::AlignTop);
    layout->addLayout(row);
    if (!key.isEmpty()) {
        m_bindings.append({button, key});
        // An unwritable settings file leaves the switch where the user put it; the
        // preferences log why the value was not kept.
        connect(button, &SwitchButton::clicked, this,
                [this, key](bool on) { m_preferences.setValue(key, on); });
    }
    return button;
}

SwitchButton* MenuView::addSwitch(QVBoxLayout* layout, const QString& text, const QString& key)
{
    return addSwitch(layout, bodyLabel(text, this), text, key);
}

void MenuView::reload()
{
    for (const Binding& binding : std::as_const(m_bindings))
        binding.button->setChecked(m_preferences.boolValue(binding.key));
    m_startAtLogin->setChecked(Autostart::isEnabled());
    m_picker->setCurrentIndex(m_picker->findData(RecallModel::current(m_preferences).rawValue()));
    showRecallSettings();
    m_libraryURL->setText(m_preferences.stringValue(Pref::libraryURL).value_or(QString()));
    fitHeight();
}

void MenuView::fitHeight()
{
    layout()->activate();
    resize(kWidth, heightForWidth(kWidth));
}

void MenuView::showRecallSettings()
{
    const RecallModel model = RecallModel::current(m_preferences);
    if (m_recallSettings && m_recallSettings->model() == model) {
        m_recallSettings->load();
        return;
    }
    delete m_recallSettings;
    m_recallSettings = new RecallSettingsView(model, m_preferences);
    m_recallLayout->addWidget(m_recallSettings);
}

void MenuView::updateStatus()
{
    const PanelStyle style = MenuStyle::current();
    const bool listening = m_status.tapInstalled();
    m_listening->setText(listening ? MenuTexts::listening : MenuTexts::notListening);
    QPalette palette = m_listening->palette();
    palette.setColor(QPalette::WindowText, listening ? green(style) : style.orange);
    m_listening->setPalette(palette);
    m_hearing->setText(MenuTexts::hearing(m_status.session(), m_status.trusted(),
                                          m_status.listenerSource(), m_status.listenerProblem()));
    m_accessNotice->setVisible(!m_status.trusted());
    m_appleModel->setText(m_status.appleModel());
    m_chatsLine->setText(m_status.indexing()
                             ? MenuTexts::indexing
                             : MenuTexts::sessionsIndexed(m_status.indexedSessions()));
}

bool MenuView::event(QEvent* event)
{
    const bool handled = QWidget::event(event);
    // Lines come and go and change length (the accessibility notice, the status lines, the
    // recall fields): the window's height follows.
    if (event->type() == QEvent::LayoutRequest)
        fitHeight();
    return handled;
}
