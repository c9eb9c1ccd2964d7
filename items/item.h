/// What a user reads or writes: a run of values on one device.
#ifndef ITEMS_ITEM_H
#define ITEMS_ITEM_H

#include "items/device_address.h"
#include "items/text_form.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

/// Most values of one item.
enum { MAX_ITEM_COUNT = 1024 };

/// Most digits behind the point that a tag gives a value.
enum { MAX_DECIMALS = 9 };

/// How the data of an item is to be understood.
enum class ItemType {
    Bit,
    U8,
    U16,
    S16,
    U32,
    S32,
    F32,
    Hex, ///< as wide as the device: 16 or 32 bits; Bin and Bcd as well
    Bin,
    Bcd,
    String ///< two characters of 8 bits a word; `TextForm` says which
};

/// What a tag file says of an item; nothing for one that was named by its address.
struct ItemTag {
    QString name;        ///< empty without a tag
    double scale = 1;    ///< a value is the PLC's number * scale + offset
    double offset = 0;   ///< in the unit of the value
    int decimals = -1;   ///< digits behind the point, 0 to MAX_DECIMALS; -1 as many as needed
    QString unit;        ///< such as mm; may be empty
    double deadband = 0; ///< most that a value may move and still count as unchanged, in its unit
    bool isWritable = true;
    QString comment;

    /// Whether values differ from the PLC's numbers, if only by their decimals.
    bool isScaled() const { return scale != 1 || offset != 0 || decimals >= 0; }
};

/// One item to read or write.
struct Item {
    QString link;    ///< name of the link that it is on; empty where it names none
    QString text;    ///< as written, without link and values; a tag's name
    QString address; ///< as written, in upper case
    DeviceAddress device;
    ItemType type = ItemType::U16;
    int count = 1;           ///< number of values, of bytes for a string; 1 to MAX_ITEM_COUNT
    QStringList values;      ///< to write, as written; empty for an item to read
    bool eitherSign = false; ///< whether the unsigned types take negative values as well
    TextForm textForm;       ///< of a string
    ItemTag tag;
};

/// An item's link and text, such as press:DM100; the text alone where it names no link.
QString nameWithLink(const Item &item);

/// The type with a name such as u16. @return whether there is one; else @p type is unchanged
bool itemTypeByName(const QString &name, ItemType *type);

/// The name of a type, such as u16.
QString itemTypeName(ItemType type);

/// The names of all types, with commas between them.
QString itemTypeNames();

/// Whether values of a type are amounts, which can be scaled: not of bit, hex, bin and string.
bool isAmount(ItemType type);

/// Bits of one value: 1, 8, 16 or 32; 8 for a character.
int itemBits(const Item &item);

/// Bytes that a read of an item gives: bits packed eight to a byte, else values side by side. A
/// string whose words have their high byte first comes in whole words.
int itemBytes(const Item &item);

/// Values of an item: a string is one.
int valueCount(const Item &item);

/// The address of an item's value. @param index 0 to count - 1; 0 for a string
QString valueAddress(const Item &item, int index);

#endif
