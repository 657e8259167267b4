#include "textcapture.h"

// Placeholder until the accessibility adapter lands: nothing is captured.
namespace TextCapture {

std::optional<CapturedText> capture(const PointerTarget&)
{
    return std::nullopt;
}

void enableWebAccessibility(const RunningApplication&) {}

bool trusted()
{
    return false;
}

bool requestAccess()
{
    return false;
}

} // namespace TextCapture
