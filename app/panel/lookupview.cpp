#include "panel/lookupview.h"

#include "panel/highlighted.h"
#include "panel/itemrow.h"
#include "panel/spinner.h"
#include "panel/symbolicon.h"
#include "panel/tabbutton.h"
#include "panel/textblock.h"
#include "panel/textlines.h"

#include <QCoreApplication>
#include <QEvent>
#include <QFontMetricsF>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>
#include <QWheelEvent>
#include <cmath>

namespace {

constexpr int kHeaderGap = 8; // between the term and the application name

// A line of the separator colour at half opacity.
class Divider : public QWidget {
public:
    Divider(const QColor& color, QWidget* parent) : QWidget(parent), m_color(color)
    {
        setFixedHeight(1);
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setOpacity(0.5);
        painter.fillRect(rect(), m_color);
    }

private:
    QColor m_color;
};

// The tab bar's band, at the bottom of the panel: its lower corners follow the panel's.
class Band : public QWidget {
public:
    Band(const QColor& color, QWidget* parent) : QWidget(parent), m_color(color) {}

protected:
    void paintEvent(QPaintEvent*) override
    {
        constexpr qreal radius = 14;
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        QPainterPath shape;
        shape.addRoundedRect(QRectF(0, -2 * radius, width(), height() + 2 * radius), radius,
                             radius);
        painter.fillPath(shape, m_color);
    }

private:
    QColor m_color;
};

// Turns the wheel's vertical turns into horizontal scrolling of the tab bar.
class SidewaysWheel : public QObject {
public:
    SidewaysWheel(QScrollArea* area) : QObject(area), m_area(area) {}

protected:
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() != QEvent::Wheel)
            return false;
        const auto* wheel = static_cast<QWheelEvent*>(event);
        const QPoint delta =
            wheel->pixelDelta().isNull() ? wheel->angleDelta() / 4 : wheel->pixelDelta();
        QScrollBar* bar = m_area->horizontalScrollBar();
        bar->setValue(bar->value() - (delta.x() != 0 ? delta.x() : delta.y()));
        return true;
    }

private:
    QScrollArea* m_area;
};

QScrollArea* bareScrollArea(QWidget* parent)
{
    auto* area = new QScrollArea(parent);
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(true);
    area->setAutoFillBackground(false);
    area->viewport()->setAutoFillBackground(false);
    area->setFocusPolicy(Qt::NoFocus);
    return area;
}

} // namespace

// The term in the serif title face, and the application name on the same baseline at the
// far end.
class LookupView::HeaderRow : public QWidget {
public:
    HeaderRow(const PanelStyle& style, QWidget* parent) : QWidget(parent), m_style(style)
    {
        const QFontMetricsF metrics(PanelStyle::termFont());
        setFixedHeight(static_cast<int>(std::ceil(metrics.height())));
    }

    void setTexts(const QString& term, const std::optional<QString>& appName)
    {
        m_term = term;
        m_appName = appName.value_or(QString());
        update();
    }
    const QString& term() const { return m_term; }
    const QString& appName() const { return m_appName; }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::TextAntialiasing);
        const QFont termFont = PanelStyle::termFont();
        const QFont appFont = PanelStyle::captionFont();
        const QFontMetricsF termMetrics(termFont);
        const QFontMetricsF appMetrics(appFont);
        const qreal baseline = termMetrics.ascent();

        qreal appWidth = 0;
        if (!m_appName.isEmpty()) {
            const QString app = appMetrics.elidedText(m_appName, Qt::ElideRight, width() * 0.45);
            appWidth = appMetrics.horizontalAdvance(app);
            painter.setFont(appFont);
            painter.setPen(m_style.tertiaryLabel);
            painter.drawText(QPointF(width() - appWidth, baseline), app);
        }
        const qreal termSpace = width() - (appWidth > 0 ? appWidth + kHeaderGap : 0);
        painter.setFont(termFont);
        painter.setPen(m_style.label);
        painter.drawText(QPointF(0, baseline),
                         termMetrics.elidedText(m_term, Qt::ElideRight, termSpace));
    }

private:
    PanelStyle m_style;
    QString m_term;
    QString m_appName;
};

LookupView::LookupView(LookupModel* model, OpenHandler onOpen, Appearance appearance,
                       QWidget* parent)
    : QWidget(parent), m_model(model), m_onOpen(std::move(onOpen)),
      m_style(PanelStyle::forAppearance(appearance))
{
    setFixedSize(kWidth, kHeight);
    setPalette(m_style.palette());
    setAutoFillBackground(false);
    setFont(PanelStyle::bodyFont());

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    buildHeader(layout);
    layout->addWidget(new Divider(m_style.separator, this));
    buildResults(layout);
    buildTabBar(layout);

    if (m_model)
        connect(m_model, &LookupModel::changed, this, &LookupView::refresh);
    refresh();
}

void LookupView::buildHeader(QVBoxLayout* layout)
{
    auto* header = new QWidget(this);
    auto* column = new QVBoxLayout(header);
    column->setContentsMargins(16, 14, 16, 10);
    column->setSpacing(3);
    m_headerRow = new HeaderRow(m_style, header);
    column->addWidget(m_headerRow);
    m_context = new TextBlock(header);
    m_context->setTextFont(PanelStyle::calloutFont());
    m_context->setColor(m_style.secondaryLabel);
    m_context->setMaxLines(2);
    column->addWidget(m_context);
    layout->addWidget(header);

    const LookupQuery query = m_model ? m_model->query() : LookupQuery{};
    m_headerRow->setTexts(query.term, query.appName);
    // Repeating the term under itself says nothing.
    const bool showContext = query.context && *query.context != query.term;
    if (showContext)
        m_context->setText(highlighted(*query.context, query.term));
    m_context->setVisible(showContext);
}

void LookupView::buildResults(QVBoxLayout* layout)
{
    m_results = bareScrollArea(this);
    m_results->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_results->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    const QColor handle = m_style.tertiaryLabel;
    m_results->verticalScrollBar()->setStyleSheet(
        QStringLiteral(
            "QScrollBar:vertical { width: 9px; background: transparent; margin: 2px 2px 2px 0; }"
            "QScrollBar::handle:vertical { background: %1; border-radius: 3px; min-height: 24px; }"
            "QScrollBar::add-line:vertical, QScrollBar::sub-line:vertical { height: 0; }"
            "QScrollBar::add-page:vertical, QScrollBar::sub-page:vertical { background: none; }")
            .arg(handle.name(QColor::HexArgb)));
    m_resultsContent = new QWidget(m_results);
    m_resultsContent->setAutoFillBackground(false);
    m_resultsLayout = new QVBoxLayout(m_resultsContent);
    m_resultsLayout->setContentsMargins(16, 12, 16, 12);
    m_resultsLayout->setSpacing(14);
    m_resultsLayout->addStretch(1);
    m_results->setWidget(m_resultsContent);
    m_resultsContent->setAutoFillBackground(false); // setWidget() turned it on
    layout->addWidget(m_results, 1);
}

void LookupView::buildTabBar(QVBoxLayout* layout)
{
    auto* band = new Band(m_style.barBackground, this);
    auto* bandLayout = new QVBoxLayout(band);
    bandLayout->setContentsMargins(0, 7, 0, 7);
    m_tabBar = bareScrollArea(band);
    m_tabBar->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_tabBar->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_tabBar->viewport()->installEventFilter(new SidewaysWheel(m_tabBar));
    auto* row = new QWidget(m_tabBar);
    row->setAutoFillBackground(false);
    m_tabLayout = new QHBoxLayout(row);
    m_tabLayout->setContentsMargins(8, 0, 8, 0);
    m_tabLayout->setSpacing(2);
    m_tabLayout->addStretch(1);
    m_tabBar->setWidget(row);
    row->setAutoFillBackground(false); // setWidget() turned it on
    const int buttonHeight = TabButton(m_style).sizeHint().height();
    m_tabBar->setFixedHeight(buttonHeight);
    bandLayout->addWidget(m_tabBar);
    layout->addWidget(band);
}

QImage LookupView::image(LookupModel* model, Appearance appearance, qreal scale)
{
    LookupView view(model, {}, appearance);
    view.setAttribute(Qt::WA_DontShowOnScreen);
    view.show();
    // Nested layouts (the scroll areas' contents) settle over a few rounds of requests.
    for (int round = 0; round < 4; ++round) {
        view.layout()->activate();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
    }
    QImage image(qRound(kWidth * scale), qRound(kHeight * scale),
                 QImage::Format_ARGB32_Premultiplied);
    if (image.isNull())
        return image;
    image.setDevicePixelRatio(scale);
    image.fill(view.style().windowBackground);
    view.render(&image, QPoint(), QRegion(), QWidget::DrawChildren); // over our own background
    view.hide();
    return image;
}

QString LookupView::askingText(const QString& title)
{
    return QStringLiteral("Asking ") + title + QChar(0x2026);
}

QString LookupView::nothingText(const QString& title, const QString& term)
{
    return QStringLiteral("Nothing in ") + title + QStringLiteral(" for \u201c") + term +
           QStringLiteral("\u201d.");
}

QString LookupView::stateText() const
{
    return m_stateText;
}

QString LookupView::headerTerm() const
{
    return m_headerRow->term();
}

QString LookupView::headerAppName() const
{
    return m_headerRow->appName();
}

std::optional<QString> LookupView::headerContext() const
{
    if (m_context->isHidden())
        return std::nullopt;
    return m_context->text().text;
}

void LookupView::refresh()
{
    refreshTabs();
    refreshContent();
}

void LookupView::refreshTabs()
{
    const QList<LookupModel::Tab> tabs = m_model ? m_model->tabs() : QList<LookupModel::Tab>{};
    const QString selected = m_model ? m_model->selected() : QString();
    // Tabs never change their order or number during a lookup; rebuild only if they did.
    bool same = tabs.size() == m_tabButtons.size();
    for (qsizetype i = 0; same && i < tabs.size(); ++i)
        same = m_tabButtons[i]->tabId() == tabs[i].id;
    if (!same) {
        qDeleteAll(m_tabButtons);
        m_tabButtons.clear();
        for (const LookupModel::Tab& tab : tabs) {
            auto* button = new TabButton(m_style, m_tabBar->widget());
            const QString id = tab.id;
            connect(button, &TabButton::clicked, this, [this, id] {
                if (m_model)
                    m_model->pickTab(id);
            });
            m_tabLayout->insertWidget(static_cast<int>(m_tabButtons.size()), button);
            m_tabButtons.append(button);
        }
    }
    for (qsizetype i = 0; i < tabs.size(); ++i)
        m_tabButtons[i]->setTab(tabs[i], tabs[i].id == selected);
    if (selected != m_shownSelection) {
        m_shownSelection = selected;
        for (TabButton* button : m_tabButtons) {
            if (button->tabId() == selected)
                m_tabBar->ensureWidgetVisible(button, 8, 0);
        }
    }
}

void LookupView::refreshContent()
{
    const LookupModel::Tab* tab = m_model ? m_model->selectedTab() : nullptr;
    if (!tab) {
        clearRows();
        showState(Content::Nothing, QString());
        return;
    }
    if (tab->id != m_rowsTab) {
        clearRows();
        m_rowsTab = tab->id;
        m_results->verticalScrollBar()->setValue(0);
    }
    if (!tab->items.isEmpty()) {
        showState(Content::Rows, QString());
        showRows(*tab);
        return;
    }
    clearRows();
    switch (tab->phase.kind()) {
    case LookupModel::Phase::Loading:
    case LookupModel::Phase::Streaming:
        showState(Content::Asking, askingText(tab->title));
        break;
    case LookupModel::Phase::Done:
    case LookupModel::Phase::Empty:
        showState(Content::NothingFound, nothingText(tab->title, m_model->query().term));
        break;
    case LookupModel::Phase::Failed:
        showState(Content::Failed, tab->phase.message());
        break;
    }
}

void LookupView::showRows(const LookupModel::Tab& tab)
{
    // Rows are keyed by item id (and by occurrence, should a source repeat an id).
    QHash<QString, ItemRow*> kept;
    QList<ItemRow*> order;
    QHash<QString, int> seen;
    for (const LookupItem& item : tab.items) {
        const QString key = item.id + QLatin1Char('\x1f') + QString::number(seen[item.id]++);
        ItemRow* row = m_rows.take(key);
        if (!row)
            row = new ItemRow(
                m_style,
                [this](const QUrl& url) {
                    if (m_onOpen)
                        m_onOpen(url);
                },
                m_resultsContent);
        row->setItem(item, m_model->query().term);
        kept.insert(key, row);
        order.append(row);
    }
    qDeleteAll(m_rows);
    m_rows = kept;
    if (order != m_rowOrder) {
        for (ItemRow* row : order)
            m_resultsLayout->removeWidget(row);
        for (qsizetype i = 0; i < order.size(); ++i) {
            m_resultsLayout->insertWidget(static_cast<int>(i), order[i]);
            order[i]->show();
        }
        m_rowOrder = order;
    }
}

void LookupView::clearRows()
{
    qDeleteAll(m_rows);
    m_rows.clear();
    m_rowOrder.clear();
}

void LookupView::showState(Content content, const QString& text)
{
    if (content == m_content && text == m_stateText)
        return;
    m_content = content;
    m_stateText = text;
    delete m_state;
    m_state = nullptr;
    if (content == Content::Nothing || content == Content::Rows)
        return;

    m_state = new QWidget(m_resultsContent);
    auto* row = new QHBoxLayout(m_state);
    row->setContentsMargins(0, content == Content::Asking ? 4 : 0, 0, 0);
    auto* label = new TextBlock(m_state);
    label->setTextFont(PanelStyle::bodyFont());
    label->setColor(m_style.secondaryLabel);
    label->setPlainText(text);
    if (content == Content::Asking) {
        row->setSpacing(8);
        auto* spinner = new Spinner(14, m_state);
        spinner->setColor(m_style.secondaryLabel);
        row->addWidget(spinner, 0, Qt::AlignVCenter);
        row->addWidget(label, 1, Qt::AlignVCenter);
    } else if (content == Content::Failed) {
        row->setSpacing(6);
        auto* icon = new QLabel(m_state);
        icon->setPixmap(SymbolIcon::pixmap(QStringLiteral("exclamationmark.triangle"),
                                           m_style.secondaryLabel, 14,
                                           std::max<qreal>(2.0, devicePixelRatioF())));
        icon->setFixedSize(14, 16);
        row->addWidget(icon, 0, Qt::AlignTop);
        row->addWidget(label, 1, Qt::AlignTop);
    } else {
        row->addWidget(label, 1);
    }
    m_resultsLayout->insertWidget(0, m_state);
    m_state->show();
}
