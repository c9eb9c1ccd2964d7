#include "tools/checksum.h"

#include "tools/lib_crc.h"

unsigned char UInt8CheckSum(const unsigned char *data, int length)
{
    return static_cast<unsigned char>(UShortCheckSum(data, length) & 0xFF);
}

unsigned short UShortCheckSum(const unsigned char *data, int length)
{
    unsigned int sum = 0;
    for (int i = 0; i < length; ++i)
        sum += data[i];
    return static_cast<unsigned short>(sum & 0xFFFF);
}

unsigned char XorUInt8CheckSum(const unsigned char *data, int length)
{
    unsigned char check = 0;
    for (int i = 0; i < length; ++i)
        check = static_cast<unsigned char>(check ^ data[i]);
    return check;
}

unsigned short CRC16Calculate(const unsigned char *data, int length)
{
    return update_crc_16_bytes(0, data, length);
}
