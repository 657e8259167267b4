#pragma once

#include "lookup/lookupmodel.h"
#include "panel/panelstyle.h"

#include <QHash>
#include <QImage>
#include <QPointer>
#include <QUrl>
#include <QWidget>
#include <functional>

class ItemRow;
class QScrollArea;
class QVBoxLayout;
class QHBoxLayout;
class TabButton;
class TextBlock;

// The content of the lookup panel, 470 × 340: a header with the term, the application it
// came from and its sentence; the selected source's results (or its state); and a tab bar
// with one tab per source. Everything shown comes from the model and is redrawn whenever
// it changes; clicking a tab picks it in the model for good.
//
// The view does not own the model; it shows nothing more once the model is gone. Rows are
// kept per item id, so a source that sends its list again does not move the scroll
// position. Opening an item calls `onOpen` with its URL. Main thread only.
class LookupView : public QWidget {
    Q_OBJECT
public:
    using OpenHandler = std::function<void(const QUrl&)>;
    static constexpr int kWidth = 470;
    static constexpr int kHeight = 340;

    LookupView(LookupModel* model, OpenHandler onOpen,
               Appearance appearance = PanelStyle::systemAppearance(), QWidget* parent = nullptr);

    LookupModel* model() const { return m_model; }
    const PanelStyle& style() const { return m_style; }

    // What the results area shows.
    enum class Content { Nothing, Rows, Asking, NothingFound, Failed };
    Content content() const { return m_content; }
    // The text of the state shown instead of rows ("Asking …", "Nothing in …", a failure).
    QString stateText() const;
    QList<ItemRow*> rows() const { return m_rowOrder; }
    QList<TabButton*> tabButtons() const { return m_tabButtons; }
    QString headerTerm() const;
    QString headerAppName() const;
    // The context line, or nothing when it is not shown.
    std::optional<QString> headerContext() const;
    QScrollArea* resultsArea() const { return m_results; }

    // The view of `model` drawn on the window background of `appearance`, `scale` pixels
    // per unit (kWidth × kHeight units), as it shows the model's selected tab now.
    static QImage image(LookupModel* model, Appearance appearance, qreal scale);

    // The texts of the states, for a tab title and a term.
    static QString askingText(const QString& title);
    static QString nothingText(const QString& title, const QString& term);

private:
    void buildHeader(QVBoxLayout* layout);
    void buildResults(QVBoxLayout* layout);
    void buildTabBar(QVBoxLayout* layout);
    void refresh();
    void refreshTabs();
    void refreshContent();
    void showRows(const LookupModel::Tab& tab);
    void clearRows();
    void showState(Content content, const QString& text);

    QPointer<LookupModel> m_model;
    OpenHandler m_onOpen;
    PanelStyle m_style;

    class HeaderRow;
    HeaderRow* m_headerRow = nullptr;
    TextBlock* m_context = nullptr;

    QScrollArea* m_results = nullptr;
    QWidget* m_resultsContent = nullptr;
    QVBoxLayout* m_resultsLayout = nullptr;
    QWidget* m_state = nullptr;
    Content m_content = Content::Nothing;
    QString m_stateText;
    QString m_rowsTab;
    QHash<QString, ItemRow*> m_rows;
    QList<ItemRow*> m_rowOrder;

    QScrollArea* m_tabBar = nullptr;
    QHBoxLayout* m_tabLayout = nullptr;
    QList<TabButton*> m_tabButtons;
    QString m_shownSelection;
};
