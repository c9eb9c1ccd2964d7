#include "tools/txpackage.h"

#include "tools/tools.h"

#include <climits>

namespace
{

const int LENGTH_FIELD_SIZE = 4;

int sumWithinInt(int a, int b)
{
    return static_cast<int>(qBound<qint64>(INT_MIN, static_cast<qint64>(a) + b, INT_MAX));
}

// QByteArray::mid for any start and length; that of Qt 4.8 adds them up in an int.
QByteArray midOf(const QByteArray &bytes, int start, int length)
{
    const qint64 size = bytes.size();
    const qint64 end = length < 0 ? size : qMin<qint64>(size, qint64(start) + length);
    const qint64 from = qMax(0, start);
    return from < end ? bytes.mid(static_cast<int>(from), static_cast<int>(end - from))
                      : QByteArray();
}

const unsigned char *unsignedBytes(const QByteArray &a)
{
    return reinterpret_cast<const unsigned char *>(a.constData());
}

} // namespace

TxPackage::TxPackage() : appendedCount(0) {}

bool TxPackage::setData(const QByteArray &bytes)
{
    buffer = bytes;
    return true;
}

bool TxPackage::setData(char *bytes, int length)
{
    buffer = length > 0 ? QByteArray(bytes, length) : QByteArray();
    return true;
}

char *TxPackage::data()
{
    return buffer.data();
}

QByteArray TxPackage::byteArrayData() const
{
    return buffer;
}

int TxPackage::totalSize() const
{
    return buffer.size();
}

void TxPackage::setSectionSize(const QList<int> &sizes)
{
    sectionSizes = sizes;
    qint64 sum = 0;
    for (int size : sizes)
        sum += size;
    const int newSize = sum < 0 || sum > INT_MAX ? 0 : static_cast<int>(sum);
    buffer = buffer.leftJustified(newSize, '\0', true);
}

void TxPackage::clearAll()
{
    buffer.clear();
    sectionSizes.clear();
    appendedCount = 0;
}

bool TxPackage::appendDWord(unsigned int value)
{
    return appendSection(intToByteArray(static_cast<int>(value)));
}

bool TxPackage::appendWord(unsigned short value)
{
    return appendSection(wordToByteArray(value));
}

bool TxPackage::appendByte(unsigned char value)
{
    return appendSection(QByteArray(1, static_cast<char>(value)));
}

bool TxPackage::appendString(const QString &text)
{
    return appendSection(text.toLatin1());
}

bool TxPackage::appendSection(const QByteArray &bytes)
{
    const int added = bytes.size(); // read first: the bytes may be the buffer itself
    buffer.append(bytes);
    sectionSizes.append(added);
    appendedCount += added;
    return true;
}

bool TxPackage::appendAscii(unsigned int value)
{
    const QByteArray digits = QByteArray::number(value, 16).toUpper();
    return appendSection(digits.rightJustified(2, '0'));
}

bool TxPackage::appendByte2Ascii(unsigned char value)
{
    return appendAscii(value);
}

bool TxPackage::appendLRCByte()
{
    return appendByte(UInt8CheckSum(unsignedBytes(buffer), buffer.size()));
}

bool TxPackage::appendLRCAscii()
{
    return appendAscii(UInt8CheckSum(unsignedBytes(buffer), buffer.size()));
}

bool TxPackage::appendFCSAscii(int)
{
    return appendAscii(static_cast<unsigned int>(calculateFCS(this, 0)));
}

int TxPackage::calculateFCS(TxPackage *package, int excluded)
{
    const int size = package->buffer.size();
    const int covered = size - qBound(0, excluded, size);
    return XorUInt8CheckSum(unsignedBytes(package->buffer), covered);
}

int TxPackage::numberOfSections() const
{
    return sectionSizes.size();
}

bool TxPackage::validSectionNumber(int i) const
{
    return i >= 0 && i < numberOfSections();
}

// The number in the four bytes from a position on; 0 where they are not all there.
int TxPackage::lengthField(int position) const
{
    const QByteArray field = midOf(buffer, position, LENGTH_FIELD_SIZE);
    return field.size() == LENGTH_FIELD_SIZE ? QByteArrayToInt(field) : 0;
}

// The sections from the first to the given one. One pass suffices, since a size reference counts
// only where it points back.
QList<TxPackage::Extent> TxPackage::extentsUpTo(int last) const
{
    QList<Extent> extents;
    int start = 0;
    for (int i = 0; i <= last; ++i) {
        Extent extent = {start, sectionSizes.at(i)};
        if (extent.size < 0) {
            const qint64 k = -static_cast<qint64>(extent.size);
            const bool sized = k < i && sectionSizes.at(static_cast<int>(k)) >= LENGTH_FIELD_SIZE;
            extent.size = sized ? lengthField(extents.at(static_cast<int>(k)).start) : 0;
        }
        extents.append(extent);
        start = sumWithinInt(start, extent.size);
    }
    return extents;
}

int TxPackage::sectionStartIndex(int i) const
{
    return validSectionNumber(i) ? extentsUpTo(i).last().start : -1;
}

int TxPackage::sectionSize(int i) const
{
    return validSectionNumber(i) ? extentsUpTo(i).last().size : 0;
}

QByteArray TxPackage::dataAt(int i) const
{
    if (!validSectionNumber(i))
        return QByteArray();
    const Extent extent = extentsUpTo(i).last();
    return midOf(buffer, extent.start, extent.size);
}

int TxPackage::arrayToInt(const QByteArray &bytes) const
{
    return bytes.isEmpty() ? 0 : static_cast<unsigned char>(bytes.at(0));
}

QString TxPackage::toString()
{
    return dumpByteArray(buffer);
}

QList<int> EmptyPackageSizeList()
{
    return QList<int>();
}

QString dumpByteArray(const QByteArray &bytes)
{
    QString text(QLatin1Char('('));
    for (int i = 0; i < bytes.size(); ++i) {
        const unsigned char byte = static_cast<unsigned char>(bytes.at(i));
        text += QLatin1String("0X") + QString::number(byte, 16) + QLatin1Char(' ');
    }
    const uint shown = qstrnlen(bytes.constData(), static_cast<uint>(bytes.size()));
    return text + QLatin1String(") : ") +
           QString::fromLatin1(bytes.constData(), static_cast<int>(shown));
}
