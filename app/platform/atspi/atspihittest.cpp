#include "platform/atspi/atspihittest.h"

#include <vector>

namespace AtspiHitTest {

namespace {

constexpr int kDeepest = 64;
constexpr int kChildrenLooked = 128;
constexpr int kUnknownDepth = 3;
constexpr int kAncestorsLooked = 3;

bool same(const AtspiNode& a, const AtspiNode& b)
{
    return a.accessible() == b.accessible();
}

// The child of `parent` whose position holds the point; children that report no position are
// looked inside (GTK 3's notebook pages say (-1, -1, -1, -1)). `budget` counts children.
std::shared_ptr<AtspiNode> childHolding(AtspiNode& parent, const QPointF& screen, int& budget,
                                        int depth)
{
    const int count = std::min(parent.childCount().value_or(0), kChildrenLooked);
    std::vector<std::shared_ptr<AtspiNode>> unplaced;
    for (int i = 0; i < count && budget > 0; ++i, --budget) {
        std::shared_ptr<AtspiNode> child = parent.child(i);
        if (!child)
            continue;
        const std::optional<QRectF> extents = child->extents();
        if (extents) {
            if (extents->contains(screen) && child->isShowing())
                return child;
        } else if (depth < kUnknownDepth) {
            unplaced.push_back(std::move(child));
        }
    }
    for (const std::shared_ptr<AtspiNode>& child : unplaced) {
        if (budget <= 0 || !child->isShowing())
            continue;
        if (std::shared_ptr<AtspiNode> found = childHolding(*child, screen, budget, depth + 1))
            return found;
    }
    return nullptr;
}

} // namespace

std::shared_ptr<AtspiNode> window(AtspiNode& root, const QString& title, const QPointF& screen)
{
    const int count = std::min(root.childCount().value_or(0), kChildrenLooked);
    std::shared_ptr<AtspiNode> titled;
    std::shared_ptr<AtspiNode> holding;
    for (int i = 0; i < count; ++i) {
        std::shared_ptr<AtspiNode> child = root.child(i);
        if (!child || !child->isShowing())
            continue;
        const bool holds = child->extents().value_or(QRectF()).contains(screen);
        const bool named = !title.isEmpty() && child->name() == title;
        if (named && holds)
            return child;
        if (named && !titled)
            titled = child;
        if (holds && !holding)
            holding = child;
    }
    return titled ? titled : holding;
}

std::shared_ptr<AtspiNode> descend(const std::shared_ptr<AtspiNode>& window, const QPointF& screen)
{
    std::shared_ptr<AtspiNode> current = window;
    std::shared_ptr<AtspiNode> deepestText = window->hasText() ? window : nullptr;
    int budget = 4 * kChildrenLooked;
    for (int depth = 0; depth < kDeepest; ++depth) {
        std::shared_ptr<AtspiNode> next = current->childAtPoint(screen);
        if (next && same(*next, *current))
            next = nullptr;
        if (!next)
            next = childHolding(*current, screen, budget, 0);
        if (!next)
            break;
        current = std::move(next);
        if (current->hasText())
            deepestText = current;
    }
    if (deepestText)
        return deepestText;
    std::shared_ptr<AtspiNode> ancestor = current;
    for (int up = 0; up < kAncestorsLooked && !same(*ancestor, *window); ++up) {
        ancestor = ancestor->parent();
        if (!ancestor)
            break;
        if (ancestor->hasText() && ancestor->extents().value_or(QRectF()).contains(screen))
            return ancestor;
    }
    return current;
}

} // namespace AtspiHitTest
