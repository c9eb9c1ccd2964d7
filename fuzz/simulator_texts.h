/// What holds for the texts that kvsim takes: faults, live values, presets and memory images.
#ifndef FUZZ_SIMULATOR_TEXTS_H
#define FUZZ_SIMULATOR_TEXTS_H

#include "fuzz/fuzz_check.h"
#include "simulator/fault_plan.h"
#include "simulator/live_values.h"
#include "simulator/memory_image.h"
#include "simulator/plc_values.h"

#include <QtCore/QList>

/// A rule as option text (":" and ",") or as a line of a file (blanks).
inline QByteArray printedRule(const FaultRule &rule, bool asOption)
{
    QByteArray text = faultName(rule.kind);
    text += asOption ? ":" : " ";
    if (rule.rate == FaultRule::WITH_PROBABILITY)
        text += QByteArray::number(rule.probability, 'g', 17);
    else
        text +=
            (rule.rate == FaultRule::EVERY ? "every " : "once ") + QByteArray::number(rule.number);
    FaultPlan usual;
    QByteArray error;
    usual.addOption(faultName(rule.kind), &error);
    if (rule.parameter != usual.rules().front().parameter)
        text += (asOption ? "," : " ") + QByteArray::number(rule.parameter);
    return text;
}

/// The rules of a plan are in order, and mean the same when they are printed and read again.
inline void checkFaults(const QByteArray &text, bool asOption)
{
    static const FaultPlan none;
    FaultPlan plan(none);
    QByteArray error;
    if (!(asOption ? plan.addOption(text, &error) : plan.addFile(text, &error))) {
        fuzzCheck(!error.isEmpty(), "faults refused without a reason", text);
        fuzzSame(0, static_cast<qint64>(plan.rules().size()), "rules of refused faults");
        return;
    }
    QByteArray file;
    FaultPlan again(none);
    FaultKind before = FAULT_NO_REPLY;
    for (const FaultRule &rule : plan.rules()) {
        fuzzCheck(before <= rule.kind && rule.kind < FAULT_KINDS, "rules out of order", text);
        fuzzCheck(rule.probability >= 0 && rule.probability <= 1 && rule.number >= 1,
                  "a rate out of range", text);
        before = rule.kind;
        file += printedRule(rule, false) + '\n';
        fuzzCheck(again.addOption(printedRule(rule, true), &error), "a printed rule is refused",
                  printedRule(rule, true) + ": " + error);
    }
    QByteArray second;
    for (const FaultRule &rule : again.rules())
        second += printedRule(rule, false) + '\n';
    fuzzSame(file, second, "rules printed and read again");
    FaultPlan fromFile(none);
    fuzzCheck(fromFile.addFile(file, &error), "a printed file is refused", file + error);
    fuzzSame(static_cast<qint64>(plan.rules().size()), static_cast<qint64>(fromFile.rules().size()),
             "rules of a printed file");
}

/// A live device always has a value of its range.
inline void checkLiveValues(const QByteArray &text, qint64 elapsedMs)
{
    static PlcMemory memory;
    LiveValues values;
    QByteArray error;
    if (!values.add(text, &error)) {
        fuzzCheck(!error.isEmpty() && values.isEmpty(), "refused without a reason", text);
        return;
    }
    PlcPoint point;
    fuzzSame(PLC_NO_FAULT, parsePlcItemName(text.left(text.indexOf('=')), &point), "the device");
    const qint64 times[] = {0, 1, elapsedMs, elapsedMs << 20};
    for (qint64 time : times) {
        values.refresh(time, &memory);
        fuzzCheck(memory.value(point.area, point.written, point.index) <=
                      largestPlcValue(point.written),
                  "a value out of range", text);
    }
}

/// The points that the lines of an image name, in any form.
inline std::vector<PlcPoint> pointsOf(const QByteArray &image)
{
    std::vector<PlcPoint> points;
    for (const QByteArray &line : image.split('\n')) {
        PlcPoint point;
        if (parsePlcItemName(line.left(line.indexOf(',')).replace("\"", ""), &point) ==
            PLC_NO_FAULT)
            points.push_back(point);
    }
    return points;
}

inline QByteArray valuesAt(const std::vector<PlcPoint> &points, const PlcMemory &memory)
{
    QByteArray text;
    for (const PlcPoint &point : points) {
        memory.appendItem(point.area, point.read, point.index, &text);
        text += ' ';
    }
    return text;
}

/// A refused image changes nothing; an accepted one has a known device on each line that says
/// something, and means the same a second time.
inline void checkImage(const QByteArray &lines)
{
    static PlcMemory memory;
    const QByteArray image = "device,value\n" + lines;
    const std::vector<PlcPoint> points = pointsOf(image);
    const QByteArray before = valuesAt(points, memory);
    QByteArray error;
    if (!loadPlcMemoryImage(image, &memory, &error)) {
        fuzzCheck(error.startsWith("line "), "an image refused without a line", error);
        fuzzSame(before, valuesAt(points, memory), "what a refused image left behind");
        return;
    }
    int said = 0;
    for (const QByteArray &line : lines.split('\n'))
        said += line.isEmpty() || line == "\r" ? 0 : 1;
    fuzzSame(said, static_cast<qint64>(points.size()), "devices of an image");
    const QByteArray after = valuesAt(points, memory);
    fuzzCheck(loadPlcMemoryImage(image, &memory, &error), "an image is refused later", image);
    fuzzSame(after, valuesAt(points, memory), "an image loaded twice");
    for (const PlcPoint &point : points) {
        const PlcItems parts[] = {point.written, PLC_TIMERS};
        for (int i = 0; i < (point.read == PLC_TIMERS ? 2 : 1); ++i)
            memory.store(point.area, parts[i], point.index, 0);
        if (point.read == PLC_TIMERS)
            memory.store(point.area, PLC_CURRENTS, point.index, 0);
    }
}

/// A preset is what its device then holds.
inline void checkPreset(const QByteArray &text)
{
    static PlcMemory memory;
    QByteArray error;
    if (!memory.preset(text, &error)) {
        fuzzCheck(!error.isEmpty(), "refused without a reason", text);
        return;
    }
    const int equals = text.indexOf('=');
    PlcPoint point;
    fuzzSame(PLC_NO_FAULT, parsePlcItemName(text.left(equals), &point), "the device");
    fuzzSame(text.mid(equals + 1).toLongLong(),
             memory.value(point.area, point.written, point.index), "the preset value");
}

#endif
