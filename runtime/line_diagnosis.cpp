#include "runtime/line_diagnosis.h"

#include "runtime/client.h"

#include <numeric>

namespace
{

int damagedReplies(const LineCounts &counts)
{
    return counts.of(ExchangeEnd::Damaged) + counts.of(ExchangeEnd::Cut);
}

bool isSilent(const LineCounts &counts)
{
    return counts.isSilent();
}

// Noise spares most replies, a wrong setting hardly any.
bool isWrongSetting(const LineCounts &counts)
{
    const int damage = damagedReplies(counts) + counts.stray.damaged + counts.errors.parity +
                       counts.errors.framing + counts.errors.breaks;
    return damage > 0 &&
           counts.of(ExchangeEnd::Good) < damagedReplies(counts) + counts.of(ExchangeEnd::NoReply);
}

bool isWrongParity(const LineCounts &counts)
{
    return isWrongSetting(counts) && counts.errors.parity > 0 && counts.errors.framing == 0;
}

bool isWrongSpeed(const LineCounts &counts)
{
    return isWrongSetting(counts) && !isWrongParity(counts);
}

bool isNoisy(const LineCounts &counts)
{
    return !isWrongSetting(counts) && counts.of(ExchangeEnd::Damaged) + counts.stray.damaged +
                                              counts.errors.parity + counts.errors.framing >
                                          0;
}

bool isCut(const LineCounts &counts)
{
    return !isWrongSetting(counts) && counts.of(ExchangeEnd::Cut) > 0;
}

bool isLost(const LineCounts &counts)
{
    return counts.losses > 0;
}

bool isOverrun(const LineCounts &counts)
{
    return counts.errors.overrun > 0;
}

bool isBroken(const LineCounts &counts)
{
    return counts.errors.breaks > 0;
}

bool isEchoed(const LineCounts &counts)
{
    return counts.of(ExchangeEnd::Echo) > 0;
}

// Behind a damaged reply there may be more bytes, which are not late.
bool isLate(const LineCounts &counts)
{
    return counts.stray.late > 0 && counts.of(ExchangeEnd::NoReply) + counts.of(ExchangeEnd::Cut) +
                                            counts.of(ExchangeEnd::Unexpected) >
                                        0;
}

bool isSilentAtTimes(const LineCounts &counts)
{
    return counts.of(ExchangeEnd::NoReply) > 0 && !isSilent(counts) && !isWrongSetting(counts) &&
           !isEchoed(counts) && !isLate(counts) && !isLost(counts);
}

bool isOtherStation(const LineCounts &counts)
{
    return counts.of(ExchangeEnd::WrongStation) > 0;
}

// An echo and a late reply are themselves such lines, one exchange later.
bool isShared(const LineCounts &counts)
{
    return counts.of(ExchangeEnd::Unexpected) + counts.stray.unasked > 0 && !isEchoed(counts) &&
           !isLate(counts);
}

bool isRefused(const LineCounts &counts)
{
    return counts.of(ExchangeEnd::Refused) > 0;
}

// The likeliest first.
const LineCause CAUSES[] = {
    {"silent", "nothing comes back at all",
     "power and mode of the PLC; the cable, with both data wires in their places; baud rate, format "
     "and station number, which kvlink scan tries",
     isSilent},
    {"lost", "the port or the connection is lost now and then",
     "the adapter's plug and supply; behind a device server its time-out for idle connections, and "
     "who else connects to it",
     isLost},
    {"echo", "what is sent comes back in front of the reply",
     "the adapter's echo on two wires, which has to be switched off; a loop-back plug", isEchoed},
    {"parity", "characters come with the wrong parity bit, with hardly a good reply between them",
     "the format of both ends: the PLC may use another parity than --port says", isWrongParity},
    {"speed", "hardly anything that comes is a reply",
     "baud rate and format of both ends, which kvlink scan tries; polarity of the wires; then noise",
     isWrongSpeed},
    {"noise", "single replies come damaged",
     "termination at both ends of the wire, and only there; shield and grounding; the distance to "
     "motor cables and inverters; plugs; a lower baud rate",
     isNoisy},
    {"cut", "replies end early",
     "loose plugs; an adapter that turns the direction of two wires too early or too late; a device "
     "server that forwards parts of a reply",
     isCut},
    {"overrun", "this computer loses characters",
     "its load; the adapter's hub and driver; a port with a deeper buffer", isOverrun},
    {"break", "the wire stays at 0 for longer than a character",
     "swapped or open wires; bias resistors; the other end being switched off", isBroken},
    {"late", "replies come after the time-out",
     "--timeout, which has to be longer; the PLC's scan time; the delay of adapters and device "
     "servers between",
     isLate},
    {"missing", "single lines get no reply",
     "loose plugs; the PLC being switched off or reprogrammed at times; another program or panel "
     "that uses the wire",
     isSilentAtTimes},
    {"station", "another station answers",
     "--station; the station switches: two units must not have the same number", isOtherStation},
    {"master", "lines come that were not asked for",
     "another program, panel or master on the wire; two units with the same station number",
     isShared},
    {"refused", "the PLC answers with error replies; the line itself works",
     "that the address exists and has so many words (-n); the PLC's mode", isRefused},
};

// In the order of ExchangeEnd.
const char *const END_NAMES[EXCHANGE_ENDS] = {
    "good", "noReply", "cut", "damaged", "wrongStation", "unexpected", "echo", "errorReply",
};

} // namespace

void LineCounts::add(const RequestReport &report)
{
    for (size_t i = 0; i < ends.size(); ++i)
        ends[i] += report.record.ends[i];
    errors.add(report.errors);
    stray.add(report.stray);
    if (report.isLinkBroken)
        ++losses;
}

bool LineCounts::isSilent() const
{
    const int sent = std::accumulate(ends.begin(), ends.end(), 0);
    return sent > 0 && sent == of(ExchangeEnd::NoReply) &&
           stray.late + stray.unasked + stray.damaged == 0 &&
           errors.parity + errors.framing + errors.breaks == 0;
}

QVector<const LineCause *> likelyCauses(const LineCounts &counts)
{
    QVector<const LineCause *> causes;
    for (const LineCause &cause : CAUSES) {
        if (cause.fits(counts))
            causes.append(&cause);
    }
    return causes;
}

const char *exchangeEndName(ExchangeEnd end)
{
    return END_NAMES[static_cast<size_t>(end)];
}
