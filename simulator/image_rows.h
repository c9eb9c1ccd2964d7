/// The rows of a memory image, the file that kvsim loads and saves and kvlink dumps and restores: a
/// header line, then a device and its value or values in each line. Which devices there are is not
/// known here.
#ifndef SIMULATOR_IMAGE_ROWS_H
#define SIMULATOR_IMAGE_ROWS_H

#include <QtCore/QByteArray>

#include <vector>

/// A field of a row, without its quotes.
struct PlcImageField {
    QByteArray text;
    int column; ///< in the line, from 1
};

/// A row such as DM100,4660 or T12,"1,100,200".
struct PlcImageRow {
    PlcImageField device;
    PlcImageField value; ///< all behind the device, such as 1,100,200
};

/// Reads an image row by row. Lines end in LF or CR LF, empty ones say nothing, and a byte order
/// mark may come first.
class PlcImageReader
{
public:
    explicit PlcImageReader(const QByteArray &image) : m_image(image), m_at(0), m_line(0) {}

    /// Takes the next row. @return whether there was one: not at the end, and not behind an error
    bool next(PlcImageRow *row);

    /// Reads the decimal values of the row that was taken last.
    /// @param largest the largest value of each field that the row must have
    /// @param values  is filled on success
    /// @return whether the row has such values; else it is refused
    bool readValues(const PlcImageRow &row, const std::vector<quint32> &largest,
                    std::vector<quint32> *values);

    /// Refuses the row that was taken last. @param field where it is wrong
    void refuse(const PlcImageField &field, const QByteArray &reason);

    /// Refuses that row for a device that there is not.
    void refuseDevice(const PlcImageRow &row);

    /// "line 3, column 7: " and what is wrong there; empty where nothing is.
    const QByteArray &error() const { return m_error; }

private:
    QByteArray takeLine();

    const QByteArray m_image;
    int m_at;
    int m_line;
    QByteArray m_error;
};

/// The line that an image begins with, with its end.
QByteArray plcImageHeader();

/// One row with its end. @param values one value, or the three of a timer or counter
QByteArray plcImageRow(const QByteArray &device, const std::vector<quint32> &values);

#endif
