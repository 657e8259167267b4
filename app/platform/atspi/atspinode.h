#pragma once

#include "platform/accessibility.h"

#include <QElapsedTimer>
#include <QPoint>
#include <QPointF>
#include <QRectF>
#include <QString>
#include <map>
#include <memory>
#include <optional>

#include <atspi/atspi.h>

// One program as the elements reached from it in one request see it: how it counts text
// and positions, and whether it has stopped answering. Shared by all those elements.
struct AtspiProgram {
    qint64 pid = 0;
    // As the program names its toolkit: "gtk" and "3.24.38", "Qt" and "6.4.2", "Chromium".
    QString toolkit;
    QString toolkitVersion;
    // Offsets count UTF-16 units (Qt) rather than code points (GTK, Chromium and the rest).
    bool utf16 = false;
    // Word and sentence ranges come from GetTextAtOffset only (Qt 6.4 lacks GetStringAtOffset).
    bool textAtOffsetOnly = false;
    // Positions are exchanged in these coordinates, counted from `origin` (a screen point).
    AtspiCoordType coordinates = ATSPI_COORD_TYPE_SCREEN;
    QPointF origin;
    int timeoutMs = 250;
    // A request ran into the time-out: the program is not asked again through these elements.
    bool hung = false;
};

// One request to a program: its error slot, and its verdict on the program's health.
class AtspiRequest {
public:
    explicit AtspiRequest(AtspiProgram& program) : m_program(program) { m_clock.start(); }
    ~AtspiRequest() { g_clear_error(&m_error); }
    AtspiRequest(const AtspiRequest&) = delete;
    AtspiRequest& operator=(const AtspiRequest&) = delete;

    GError** error() { return &m_error; }
    // True when the request succeeded; a failure that took most of the time-out marks the
    // program hung.
    bool ok();
    // For requests that report no error (libatspi answers them with nothing): one that took
    // most of the time-out marks the program hung.
    void done();

private:
    bool slow() const { return m_clock.elapsed() >= m_program.timeoutMs * 3 / 4; }

    AtspiProgram& m_program;
    GError* m_error = nullptr;
    QElapsedTimer m_clock;
};

// An element of a program's accessibility tree, holding one reference to the libatspi object.
// Offsets in its text convert between the program's units and UTF-16 units here, fetching
// only the stretches of text the conversion needs.
class AtspiNode : public Accessibility::Node {
public:
    // Adopts the reference it is given.
    AtspiNode(AtspiAccessible* accessible, std::shared_ptr<AtspiProgram> program);
    ~AtspiNode() override;
    AtspiNode(const AtspiNode&) = delete;
    AtspiNode& operator=(const AtspiNode&) = delete;

    AtspiAccessible* accessible() const { return m_accessible; }
    AtspiProgram& program() const { return *m_program; }
    // A node for another element of the same program (adopting `accessible`); null for null.
    std::shared_ptr<AtspiNode> relative(AtspiAccessible* accessible) const;

    // Each answers nothing when the program does not (or is hung).
    std::optional<AtspiRole> role();
    std::optional<QString> name();
    bool hasText();
    bool isShowing();
    std::optional<QRectF> extents(); // in screen coordinates
    std::optional<int> childCount();
    std::shared_ptr<AtspiNode> child(int index);
    std::shared_ptr<AtspiNode> parent();
    std::shared_ptr<AtspiNode> childAtPoint(const QPointF& screen);

    // Text, in the program's units.
    std::optional<qsizetype> characterCount();
    std::optional<QString> text(qsizetype start, qsizetype end);
    std::optional<qsizetype> offsetAtPoint(const QPointF& screen);
    // The word or sentence around an offset: (start, end) in the program's units.
    std::optional<std::pair<qsizetype, qsizetype>> segmentAt(qsizetype offset, bool sentence);
    std::optional<QRectF> rangeExtents(qsizetype start, qsizetype end); // screen coordinates
    std::optional<std::pair<qsizetype, qsizetype>> selection();
    // The whole text, kept for later conversions.
    std::optional<QString> wholeText();

    // Program units ↔ UTF-16 units. An offset inside a surrogate pair converts to the pair's
    // start. Within 65,536 code points of an offset converted before (0 to begin with) the
    // text between is read; farther, it is counted as one unit per code point, unread, so the
    // result can fall short by the surrogate pairs in it, and offsets near it then convert
    // exactly relative to it (all that a stretch of text read around a point needs). Nothing
    // when the text cannot be read.
    std::optional<qsizetype> toUtf16(qsizetype offset);
    std::optional<qsizetype> fromUtf16(qsizetype offset);

    QPoint toProgram(const QPointF& screen) const;
    QRectF toScreen(const AtspiRect& rect) const;

private:
    AtspiAccessible* m_accessible;
    std::shared_ptr<AtspiProgram> m_program;
    std::optional<QString> m_wholeText;
    // Known pairs (offset in program units → offset in UTF-16 units).
    std::map<qsizetype, qsizetype> m_anchors{{0, 0}};
};
