#include "platform/atspi/atspinode.h"

#include "platform/atspi/textunits.h"

#include <QElapsedTimer>
#include <QHash>
#include <QtGlobal>
#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace {

// Longest stretch of text read for one offset conversion, in code points: a few milliseconds'
// reading, far below the messaging time-out.
constexpr qsizetype kLongestStretch = 65'536;

// Programs that leave GetOffsetAtPoint unanswered while answering the rest (GTK 4.8's text
// views) would cost the whole time-out at every capture. A program that left it unanswered
// twice in a row is not asked for a minute; a busy machine can delay any one answer, so an
// answer clears the record and the question is asked again after that minute.
class UnansweredOffsets {
public:
    bool skips(qint64 pid) const
    {
        const auto it = m_misses.constFind(pid);
        return it != m_misses.constEnd() && it->inARow >= 2 && !it->since.hasExpired(kPauseMs);
    }
    void missed(qint64 pid)
    {
        Miss& miss = m_misses[pid];
        ++miss.inARow;
        miss.since.start();
    }
    void answered(qint64 pid) { m_misses.remove(pid); }

private:
    static constexpr qint64 kPauseMs = 60'000;
    struct Miss {
        int inARow = 0;
        QElapsedTimer since;
    };
    QHash<qint64, Miss> m_misses;
};

UnansweredOffsets& unansweredOffsets()
{
    static UnansweredOffsets programs;
    return programs;
}

QString takeString(gchar* text)
{
    if (!text)
        return {};
    QString result = QString::fromUtf8(text);
    g_free(text);
    return result;
}

} // namespace

bool AtspiRequest::ok()
{
    if (m_error && slow())
        m_program.hung = true;
    return !m_error;
}

void AtspiRequest::done()
{
    if (slow())
        m_program.hung = true;
}

AtspiNode::AtspiNode(AtspiAccessible* accessible, std::shared_ptr<AtspiProgram> program)
    : m_accessible(accessible), m_program(std::move(program))
{
}

AtspiNode::~AtspiNode()
{
    if (m_accessible)
        g_object_unref(m_accessible);
}

std::shared_ptr<AtspiNode> AtspiNode::relative(AtspiAccessible* accessible) const
{
    if (!accessible)
        return nullptr;
    return std::make_shared<AtspiNode>(accessible, m_program);
}

std::optional<AtspiRole> AtspiNode::role()
{
    if (m_program->hung)
        return std::nullopt;
    AtspiRequest request(*m_program);
    const AtspiRole role = atspi_accessible_get_role(m_accessible, request.error());
    if (!request.ok())
        return std::nullopt;
    return role;
}

std::optional<QString> AtspiNode::name()
{
    if (m_program->hung)
        return std::nullopt;
    AtspiRequest request(*m_program);
    gchar* name = atspi_accessible_get_name(m_accessible, request.error());
    if (!request.ok()) {
        g_free(name);
        return std::nullopt;
    }
    return takeString(name);
}

bool AtspiNode::hasText()
{
    if (m_program->hung)
        return false;
    AtspiRequest request(*m_program);
    AtspiText* text = atspi_accessible_get_text_iface(m_accessible);
    request.done();
    if (!text)
        return false;
    g_object_unref(text);
    return !m_program->hung;
}

bool AtspiNode::isShowing()
{
    if (m_program->hung)
        return false;
    AtspiRequest request(*m_program);
    AtspiStateSet* states = atspi_accessible_get_state_set(m_accessible);
    request.done();
    if (!states)
        return false;
    const bool showing = atspi_state_set_contains(states, ATSPI_STATE_SHOWING);
    g_object_unref(states);
    return showing && !m_program->hung;
}

std::optional<QRectF> AtspiNode::extents()
{
    if (m_program->hung)
        return std::nullopt;
    AtspiRequest request(*m_program);
    AtspiRect* rect = atspi_component_get_extents(ATSPI_COMPONENT(m_accessible),
                                                  m_program->coordinates, request.error());
    if (!request.ok() || !rect) {
        g_free(rect);
        return std::nullopt;
    }
    const QRectF result = toScreen(*rect);
    // Programs say "unknown" with a negative size or the smallest integer as position.
    const bool unknown =
        rect->width <= 0 || rect->height <= 0 || rect->x == G_MININT || rect->y == G_MININT;
    g_free(rect);
    if (unknown)
        return std::nullopt;
    return result;
}

std::optional<int> AtspiNode::childCount()
{
    if (m_program->hung)
        return std::nullopt;
    AtspiRequest request(*m_program);
    const int count = atspi_accessible_get_child_count(m_accessible, request.error());
    if (!request.ok() || count < 0)
        return std::nullopt;
    return count;
}

std::shared_ptr<AtspiNode> AtspiNode::child(int index)
{
    if (m_program->hung)
        return nullptr;
    AtspiRequest request(*m_program);
    AtspiAccessible* child =
        atspi_accessible_get_child_at_index(m_accessible, index, request.error());
    if (!request.ok()) {
        if (child)
            g_object_unref(child);
        return nullptr;
    }
    return relative(child);
}

std::shared_ptr<AtspiNode> AtspiNode::parent()
{
    if (m_program->hung)
        return nullptr;
    AtspiRequest request(*m_program);
    AtspiAccessible* parent = atspi_accessible_get_parent(m_accessible, request.error());
    if (!request.ok()) {
        if (parent)
            g_object_unref(parent);
        return nullptr;
    }
    return relative(parent);
}

std::shared_ptr<AtspiNode> AtspiNode::childAtPoint(const QPointF& screen)
{
    if (m_program->hung)
        return nullptr;
    const QPoint point = toProgram(screen);
    AtspiRequest request(*m_program);
    AtspiAccessible* child =
        atspi_component_get_accessible_at_point(ATSPI_COMPONENT(m_accessible), point.x(), point.y(),
                                                m_program->coordinates, request.error());
    if (!request.ok()) {
        if (child)
            g_object_unref(child);
        return nullptr;
    }
    return relative(child);
}

std::optional<qsizetype> AtspiNode::characterCount()
{
    if (m_program->hung || !hasText())
        return std::nullopt;
    AtspiRequest request(*m_program);
    const gint count = atspi_text_get_character_count(ATSPI_TEXT(m_accessible), request.error());
    if (!request.ok() || count < 0)
        return std::nullopt;
    return count;
}

std::optional<QString> AtspiNode::text(qsizetype start, qsizetype end)
{
    if (m_program->hung || start < 0 || end < start || end > G_MAXINT)
        return std::nullopt;
    if (m_wholeText && !m_program->utf16) {
        const qsizetype from = TextUnits::unitsOf(*m_wholeText, start);
        return m_wholeText->mid(
            from, TextUnits::unitsOf(QStringView(*m_wholeText).mid(from), end - start));
    }
    if (m_wholeText)
        return m_wholeText->mid(start, end - start);
    AtspiRequest request(*m_program);
    gchar* text =
        atspi_text_get_text(ATSPI_TEXT(m_accessible), gint(start), gint(end), request.error());
    if (!request.ok()) {
        g_free(text);
        return std::nullopt;
    }
    return takeString(text);
}

std::optional<QString> AtspiNode::wholeText()
{
    if (m_wholeText)
        return m_wholeText;
    if (m_program->hung || !hasText())
        return std::nullopt;
    AtspiRequest request(*m_program);
    gchar* text = atspi_text_get_text(ATSPI_TEXT(m_accessible), 0, -1, request.error());
    if (!request.ok()) {
        g_free(text);
        return std::nullopt;
    }
    m_wholeText = takeString(text);
    return m_wholeText;
}

std::optional<qsizetype> AtspiNode::offsetAtPoint(const QPointF& screen)
{
    if (m_program->hung || unansweredOffsets().skips(m_program->pid) || !hasText())
        return std::nullopt;
    const QPoint point = toProgram(screen);
    AtspiRequest request(*m_program);
    const gint offset = atspi_text_get_offset_at_point(
        ATSPI_TEXT(m_accessible), point.x(), point.y(), m_program->coordinates, request.error());
    if (!request.ok()) {
        // Unanswered: a program that still answers something else lacks only this.
        if (m_program->hung) {
            m_program->hung = false;
            if (characterCount())
                unansweredOffsets().missed(m_program->pid);
        }
        return std::nullopt;
    }
    unansweredOffsets().answered(m_program->pid);
    if (offset < 0)
        return std::nullopt;
    return offset;
}

std::optional<std::pair<qsizetype, qsizetype>> AtspiNode::segmentAt(qsizetype offset, bool sentence)
{
    if (m_program->hung || offset < 0 || offset > G_MAXINT || !hasText())
        return std::nullopt;
    AtspiTextRange* range = nullptr;
    if (!m_program->textAtOffsetOnly) {
        AtspiRequest request(*m_program);
        range = atspi_text_get_string_at_offset(ATSPI_TEXT(m_accessible), gint(offset),
                                                sentence ? ATSPI_TEXT_GRANULARITY_SENTENCE
                                                         : ATSPI_TEXT_GRANULARITY_WORD,
                                                request.error());
        if (!request.ok()) {
            if (range)
                g_boxed_free(ATSPI_TYPE_TEXT_RANGE, range);
            range = nullptr;
            // A program that has not got the newer request; the older one serves.
            if (m_program->hung)
                return std::nullopt;
            m_program->textAtOffsetOnly = true;
        }
    }
    if (!range) {
        AtspiRequest request(*m_program);
        range = atspi_text_get_text_at_offset(ATSPI_TEXT(m_accessible), gint(offset),
                                              sentence ? ATSPI_TEXT_BOUNDARY_SENTENCE_START
                                                       : ATSPI_TEXT_BOUNDARY_WORD_START,
                                              request.error());
        if (!request.ok()) {
            if (range)
                g_boxed_free(ATSPI_TYPE_TEXT_RANGE, range);
            return std::nullopt;
        }
    }
    if (!range)
        return std::nullopt;
    const std::pair<qsizetype, qsizetype> segment{range->start_offset, range->end_offset};
    g_boxed_free(ATSPI_TYPE_TEXT_RANGE, range);
    if (segment.first < 0 || segment.second <= segment.first)
        return std::nullopt;
    return segment;
}

std::optional<QRectF> AtspiNode::rangeExtents(qsizetype start, qsizetype end)
{
    if (m_program->hung || start < 0 || end > G_MAXINT || !hasText())
        return std::nullopt;
    AtspiRequest request(*m_program);
    AtspiRect* rect = atspi_text_get_range_extents(ATSPI_TEXT(m_accessible), gint(start), gint(end),
                                                   m_program->coordinates, request.error());
    if (!request.ok() || !rect) {
        g_free(rect);
        return std::nullopt;
    }
    const QRectF result = toScreen(*rect);
    g_free(rect);
    return result;
}

std::optional<std::pair<qsizetype, qsizetype>> AtspiNode::selection()
{
    if (m_program->hung || !hasText())
        return std::nullopt;
    AtspiRequest count(*m_program);
    const gint selections = atspi_text_get_n_selections(ATSPI_TEXT(m_accessible), count.error());
    if (!count.ok() || selections < 1)
        return std::nullopt;
    AtspiRequest request(*m_program);
    AtspiRange* range = atspi_text_get_selection(ATSPI_TEXT(m_accessible), 0, request.error());
    if (!request.ok() || !range) {
        g_free(range);
        return std::nullopt;
    }
    const std::pair<qsizetype, qsizetype> selected{range->start_offset, range->end_offset};
    g_free(range);
    if (selected.first < 0 || selected.second <= selected.first)
        return std::nullopt;
    return selected;
}

std::optional<qsizetype> AtspiNode::toUtf16(qsizetype offset)
{
    if (offset < 0)
        return std::nullopt;
    if (m_program->utf16)
        return offset;
    if (m_wholeText)
        return TextUnits::unitsOf(*m_wholeText, offset);
    const auto nearest = std::min_element(
        m_anchors.begin(), m_anchors.end(), [offset](const auto& a, const auto& b) {
            return std::llabs(a.first - offset) < std::llabs(b.first - offset);
        });
    const auto [known, knownUnits] = *nearest;
    if (std::llabs(offset - known) > kLongestStretch)
        return m_anchors[offset] = knownUnits + (offset - known);
    const std::optional<QString> stretch = text(std::min(offset, known), std::max(offset, known));
    if (!stretch)
        return std::nullopt;
    if (offset >= known) {
        // The text may end before the offset: count what there is.
        const TextUnits::Step step = TextUnits::forward(*stretch, stretch->size());
        m_anchors[known + step.codePoints] = knownUnits + step.units;
        return knownUnits + step.units;
    }
    const qsizetype units = std::max<qsizetype>(0, knownUnits - stretch->size());
    m_anchors[offset] = units;
    return units;
}

std::optional<qsizetype> AtspiNode::fromUtf16(qsizetype offset)
{
    if (offset < 0)
        return std::nullopt;
    if (m_program->utf16)
        return offset;
    if (m_wholeText)
        return TextUnits::forward(*m_wholeText, offset).codePoints;
    const auto nearest = std::min_element(
        m_anchors.begin(), m_anchors.end(), [offset](const auto& a, const auto& b) {
            return std::llabs(a.second - offset) < std::llabs(b.second - offset);
        });
    const auto [known, knownUnits] = *nearest;
    const qsizetype distance = std::llabs(offset - knownUnits);
    if (distance > kLongestStretch) {
        const qsizetype codePoints = std::max<qsizetype>(0, known + (offset - knownUnits));
        m_anchors[codePoints] = offset;
        return codePoints;
    }
    if (offset >= knownUnits) {
        // `distance` units are at most `distance` code points.
        const std::optional<QString> stretch = text(known, known + distance);
        if (!stretch)
            return std::nullopt;
        const TextUnits::Step step = TextUnits::forward(*stretch, distance);
        m_anchors[known + step.codePoints] = knownUnits + step.units;
        return known + step.codePoints;
    }
    const std::optional<QString> stretch = text(std::max<qsizetype>(0, known - distance), known);
    if (!stretch)
        return std::nullopt;
    const TextUnits::Step step = TextUnits::backward(*stretch, distance);
    m_anchors[known - step.codePoints] = knownUnits - step.units;
    return known - step.codePoints;
}

QPoint AtspiNode::toProgram(const QPointF& screen) const
{
    const QPointF point = screen - m_program->origin;
    return {int(std::floor(point.x())), int(std::floor(point.y()))};
}

QRectF AtspiNode::toScreen(const AtspiRect& rect) const
{
    return QRectF(rect.x, rect.y, rect.width, rect.height).translated(m_program->origin);
}
