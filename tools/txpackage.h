/// @file
/// Builder and reader of protocol frames that are made of sections.
#ifndef TOOLS_TXPACKAGE_H
#define TOOLS_TXPACKAGE_H

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QtGlobal>

/// A byte buffer and the sizes of the sections that make it up, end to end from byte 0.
///
/// To build a frame, append its fields one by one and close it with a check value: the LRC is the
/// 8-bit sum of all bytes so far, the FCS their XOR. To take a received frame apart, set the
/// section sizes and the bytes. A size of -k (k >= 1) is a size reference: the section is as long
/// as the number at the start of section k says, 4 bytes, least significant first. That length
/// field must come before the section it sizes and have a plain size of at least 4 bytes, the
/// first 4 of them in the buffer; otherwise the section's size is 0. Sizes, negative ones of a
/// damaged frame too, are taken as they are; no operation reads outside the buffer.
class TxPackage
{
public:
    TxPackage();

    /// @name Content
    /// All of these give true. Replacing the bytes leaves the sections and `appendedCount` as they
    /// are.
    /// @{
    bool setData(const QByteArray &bytes);
    bool setData(char *bytes, int length); ///< a length below 1 empties the buffer
    /// @}

    /// The buffer's bytes, writable; valid until the next change of the package.
    char *data();

    /// A copy of the buffer.
    QByteArray byteArrayData() const;

    /// The buffer's length in bytes, whatever the sections say.
    int totalSize() const;

    /// Replaces the section sizes and resizes the buffer to their sum, in which a size reference
    /// counts as its negative number. Added bytes are zero. A sum of 0 or less empties the
    /// buffer, as does one beyond an int, which no byte array can hold. Where the system has no
    /// memory for the sum, std::bad_alloc is thrown.
    void setSectionSize(const QList<int> &sizes);

    /// Forgets bytes, sections and `appendedCount`.
    void clearAll();

    /// @name Appending
    /// Each adds its bytes at the end as one section and gives true. Words and double words are
    /// stored least significant byte first; "ASCII" is two upper-case hexadecimal digits. A
    /// character without a one-byte form becomes a question mark. Check values cover the whole
    /// buffer before them.
    /// @{
    bool appendDWord(unsigned int value);
    bool appendWord(unsigned short value);
    bool appendByte(unsigned char value);
    bool appendString(const QString &text);
    bool appendSection(const QByteArray &bytes);
    bool appendByte2Ascii(unsigned char value);
    bool appendLRCByte();
    bool appendLRCAscii();
    bool appendFCSAscii(int unused); ///< @p unused does not enter the computation
    /// @}

    /// XOR of the package's bytes without the last @p excluded ones, 0 to 255; 0 when none are
    /// left. Requires: @p package is not null.
    static int calculateFCS(TxPackage *package, int excluded);

    /// @name Sections
    /// A section number is valid from 0 to `numberOfSections()` - 1.
    /// @{
    int numberOfSections() const;
    bool validSectionNumber(int i) const;

    /// The position of the section's first byte: the sum of the sizes before it, size references
    /// resolved, cut to an int. -1 for a number that is not valid.
    int sectionStartIndex(int i) const;

    /// The section's size in bytes, size references resolved: what the frame claims, also where
    /// that is more than the buffer holds, or less than 0. 0 for a number that is not valid.
    int sectionSize(int i) const;

    /// What QByteArray::mid gives for the section's start and size: its bytes, cut to the buffer;
    /// all from the start on where the size is negative. Empty for a number that is not valid.
    QByteArray dataAt(int i) const;
    /// @}

    /// The first byte as a number, 0 to 255; 0 for an empty array.
    int arrayToInt(const QByteArray &bytes) const;

    /// `dumpByteArray` of the buffer.
    QString toString();

    QByteArray buffer;       ///< the frame's bytes
    QList<int> sectionSizes; ///< plain sizes, or size references where negative
    int appendedCount;       ///< bytes added by the append operations since the last `clearAll`

private:
    Q_DISABLE_COPY(TxPackage)

    struct Extent {
        int start;
        int size;
    };

    QList<Extent> extentsUpTo(int last) const;
    int lengthField(int position) const;
    bool appendAscii(unsigned int value);
};

/// An empty list of section sizes.
QList<int> EmptyPackageSizeList();

/// Bytes for a debug log: each in hexadecimal between brackets, then as text up to the first zero
/// byte. The bytes 02 41 0D give "(0X2 0X41 0Xd ) : " and the three characters.
QString dumpByteArray(const QByteArray &bytes);

#endif
