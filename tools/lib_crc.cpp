#include "tools/lib_crc.h"

namespace
{

struct Table16 {
    unsigned short entry[256];
};

struct Table32 {
    unsigned int entry[256];
};

Table16 reflectedTable(unsigned int polynomial)
{
    Table16 table;
    for (unsigned int i = 0; i < 256; ++i) {
        unsigned int r = i;
        for (int bit = 0; bit < 8; ++bit)
            r = (r & 1) != 0 ? (r >> 1) ^ polynomial : r >> 1;
        table.entry[i] = static_cast<unsigned short>(r);
    }
    return table;
}

Table16 ccittTable()
{
    Table16 table;
    for (unsigned int i = 0; i < 256; ++i) {
        unsigned int r = i << 8;
        for (int bit = 0; bit < 8; ++bit)
            r = (r & 0x8000) != 0 ? (r << 1) ^ 0x1021 : r << 1;
        table.entry[i] = static_cast<unsigned short>(r & 0xFFFF);
    }
    return table;
}

Table32 ieeeTable()
{
    Table32 table;
    for (unsigned int i = 0; i < 256; ++i) {
        unsigned int r = i;
        for (int bit = 0; bit < 8; ++bit)
            r = (r & 1) != 0 ? (r >> 1) ^ 0xEDB88320u : r >> 1;
        table.entry[i] = r;
    }
    return table;
}

// A local static is built at its first use, once, whatever races there.

const Table16 &crc_tabccitt()
{
    static const Table16 table = ccittTable();
    return table;
}

const Table16 &crc_tab16()
{
    static const Table16 table = reflectedTable(0xA001);
    return table;
}

const Table16 &crc_tabkermit()
{
    static const Table16 table = reflectedTable(0x8408);
    return table;
}

const Table16 &crc_tabdnp()
{
    static const Table16 table = reflectedTable(0xA6BC);
    return table;
}

const Table32 &crc_tab32()
{
    static const Table32 table = ieeeTable();
    return table;
}

unsigned short reflectedStep(const Table16 &table, unsigned short crc, unsigned char byte)
{
    return static_cast<unsigned short>((crc >> 8) ^ table.entry[(crc ^ byte) & 0xFF]);
}

} // namespace

unsigned short update_crc_ccitt(unsigned short crc, unsigned char byte)
{
    const unsigned int index = ((crc >> 8) ^ byte) & 0xFF;
    return static_cast<unsigned short>((crc << 8) ^ crc_tabccitt().entry[index]);
}

unsigned short update_crc_16(unsigned short crc, unsigned char byte)
{
    return reflectedStep(crc_tab16(), crc, byte);
}

unsigned short update_crc_16_bytes(unsigned short crc, const unsigned char *data, int length)
{
    const Table16 &table = crc_tab16();
    for (int i = 0; i < length; ++i)
        crc = reflectedStep(table, crc, data[i]);
    return crc;
}

unsigned short update_crc_kermit(unsigned short crc, unsigned char byte)
{
    return reflectedStep(crc_tabkermit(), crc, byte);
}

unsigned short update_crc_dnp(unsigned short crc, unsigned char byte)
{
    return reflectedStep(crc_tabdnp(), crc, byte);
}

unsigned int update_crc_32(unsigned int crc, unsigned char byte)
{
    return (crc >> 8) ^ crc_tab32().entry[(crc ^ byte) & 0xFF];
}

unsigned short update_crc_sick(unsigned short crc, unsigned char byte, unsigned char previous)
{
    const unsigned int shifted =
        (static_cast<unsigned int>(crc) << 1) ^ ((crc & 0x8000) ? 0x8005u : 0u);
    return static_cast<unsigned short>(
        (shifted ^ (byte | (static_cast<unsigned int>(previous) << 8))) & 0xFFFF);
}
