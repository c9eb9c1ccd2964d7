// Transmit frames: any building and any sections against plain lists of bytes and sizes.
#include "fuzz/fuzz_check.h"
#include "fuzz/fuzz_input.h"
#include "fuzz/txpackage_model.h"
#include "tools/txpackage.h"

namespace
{

const int MOST_STEPS = 40;
const int MOST_SECTIONS = 12;
const int LONG_DUMP = 32;
const int LONG_FRAME = 512; // longer ones show nothing more

// Mostly small; references to the first sections and numbers at the edges now and then.
int sectionSize(FuzzInput &input)
{
    static const int EDGES[] = {INT_MAX, INT_MIN, INT_MAX - 1, INT_MIN + 1, 1 << 30, -256, 256, 4};
    const int value = static_cast<int>(input.below(128));
    return value < 64 ? value : value < 96 ? 63 - value : EDGES[value % 8];
}

void setSections(TxPackage &package, FrameModel &model, FuzzInput &input, bool resize)
{
    QList<int> sizes;
    qint64 sum = 0;
    for (int left = static_cast<int>(input.below(MOST_SECTIONS)); left > 0; --left) {
        sizes += sectionSize(input);
        sum += sizes.last();
    }
    model.sizes = sizes;
    const bool affordable = sum > INT_MAX || sum < LONG_FRAME;
    if (!resize || !affordable) {
        package.sectionSizes = sizes;
        return;
    }
    package.setSectionSize(sizes);
    const int size = sum < 0 || sum > INT_MAX ? 0 : static_cast<int>(sum);
    model.bytes = model.bytes.leftJustified(size, '\0', true);
}

void step(TxPackage &package, FrameModel &model, FuzzInput &input)
{
    const unsigned int what = input.below(14);
    const quint32 value = what < 5 ? input.number() : 0;
    const char bytes[] = {static_cast<char>(value), static_cast<char>(value >> 8),
                          static_cast<char>(value >> 16), static_cast<char>(value >> 24)};
    bool good = true;
    if (what == 0) {
        good = package.appendDWord(value);
        model.append(QByteArray(bytes, 4));
    } else if (what == 1) {
        good = package.appendWord(static_cast<unsigned short>(value));
        model.append(QByteArray(bytes, 2));
    } else if (what == 2) {
        good = package.appendByte(static_cast<unsigned char>(value));
        model.append(QByteArray(bytes, 1));
    } else if (what == 3) {
        good = package.appendByte2Ascii(static_cast<unsigned char>(value));
        model.append(hexadecimal(static_cast<int>(value & 0xFF)));
    } else if (what == 4) {
        good = package.appendString(QString(QChar(static_cast<ushort>(value))));
        model.append(QByteArray(1, (value & 0xFFFF) > 0xFF ? '?' : bytes[0]));
    } else if (what == 5) {
        good = package.appendLRCByte();
        model.append(QByteArray(1, static_cast<char>(model.check(true))));
    } else if (what == 6) {
        good = package.appendLRCAscii();
        model.append(hexadecimal(model.check(true)));
    } else if (what == 7) {
        good = package.appendFCSAscii(static_cast<int>(input.below(256)));
        model.append(hexadecimal(model.check(false)));
    } else if (what == 8) {
        const QByteArray text = input.text();
        good = package.appendSection(text);
        model.append(text);
    } else if (what == 9 && model.bytes.size() < LONG_FRAME) {
        good = package.appendSection(package.buffer);
        model.append(model.bytes);
    } else if (what == 10) {
        model.bytes = input.text();
        QByteArray copy = model.bytes;
        good = package.setData(copy.data(), copy.size());
    } else if (what < 13) {
        setSections(package, model, input, what == 12);
    } else if (what == 13) {
        package.clearAll();
        model = FrameModel();
    }
    fuzzCheck(good, "an operation that cannot fail gave false");
}

void checkSections(const TxPackage &package, const FrameModel &model)
{
    fuzzSame(model.sizes.size(), package.numberOfSections(), "the number of sections");
    const int ends[] = {INT_MIN, -1, model.sizes.size(), INT_MAX};
    for (int i : ends)
        fuzzCheck(!package.validSectionNumber(i) && package.sectionStartIndex(i) == -1 &&
                      package.sectionSize(i) == 0 && package.dataAt(i).isEmpty(),
                  "a section that is not there");
    for (int i = 0; i < qMin(model.sizes.size(), MOST_SECTIONS); ++i) {
        const qint64 start = model.start(i);
        const qint64 size = model.size(i);
        fuzzCheck(package.validSectionNumber(i), "a section is missing");
        fuzzSame(start, package.sectionStartIndex(i), "the start of a section");
        fuzzSame(size, package.sectionSize(i), "the size of a section");
        QByteArray data;
        const qint64 end = size < 0 ? INT_MAX : start + size;
        for (qint64 at = qMax<qint64>(start, 0); at < qMin<qint64>(end, model.bytes.size()); ++at)
            data += model.bytes.at(static_cast<int>(at));
        fuzzSame(data, package.dataAt(i), "the data of a section");
        fuzzSame(data.isEmpty() ? 0 : static_cast<unsigned char>(data.at(0)),
                 package.arrayToInt(data), "a section's number");
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const unsigned char *bytes, size_t size)
{
    FuzzInput input(bytes, size);
    TxPackage package;
    FrameModel model;
    for (int i = 0; i < MOST_STEPS && !input.atEnd(); ++i)
        step(package, model, input);
    fuzzSame(model.bytes, package.byteArrayData(), "the frame");
    fuzzSame(model.bytes.size(), package.totalSize(), "the length");
    fuzzSame(model.appended, package.appendedCount, "what was appended");
    checkSections(package, model);
    fuzzSame(model.check(false), TxPackage::calculateFCS(&package, 0), "the check value");
    if (model.bytes.size() <= LONG_DUMP)
        fuzzSame(model.dump(), package.toString().toLatin1(), "the frame as text");
    return 0;
}
