#include "platform/atspi/textunits.h"

namespace TextUnits {

namespace {

bool pairAt(QStringView text, qsizetype i)
{
    return i + 1 < text.size() && text[i].isHighSurrogate() && text[i + 1].isLowSurrogate();
}

} // namespace

Step forward(QStringView text, qsizetype units)
{
    Step step;
    while (step.units < text.size()) {
        const qsizetype width = pairAt(text, step.units) ? 2 : 1;
        if (step.units + width > units)
            break;
        step.units += width;
        ++step.codePoints;
    }
    return step;
}

Step backward(QStringView text, qsizetype units)
{
    Step step;
    qsizetype end = text.size();
    while (step.units < units && end > 0) {
        const qsizetype width = end >= 2 && pairAt(text, end - 2) ? 2 : 1;
        end -= width;
        step.units += width;
        ++step.codePoints;
    }
    return step;
}

qsizetype unitsOf(QStringView text, qsizetype codePoints)
{
    qsizetype units = 0;
    for (qsizetype n = 0; n < codePoints && units < text.size(); ++n)
        units += pairAt(text, units) ? 2 : 1;
    return units;
}

} // namespace TextUnits
