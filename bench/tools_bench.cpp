// The tools library beside plain loops, zlib and Boost.CRC. A benchmark's name is
// function/form/bytes.
#include "plain_forms.h"
#include "tools/lib_crc.h"
#include "tools/tools.h"

#include <benchmark/benchmark.h>
#include <boost/crc.hpp>

#include <QtCore/QByteArray>

#include <string>
#include <vector>

namespace
{

const int SIZES[] = {1 << 10, 1 << 16, 1 << 20};
const int SHIFT = 3;

// One function or form over a buffer of a size; the buffers are prepared before the clock runs.
struct Buffers {
    explicit Buffers(int bytes)
        : length(bytes), source(bytes, '\0'), target(bytes + 8, '\0'), wide(8 * bytes, '\0'),
          half(static_cast<size_t>(bytes) / 2, 0x1234),
          quarter(static_cast<size_t>(bytes) / 4, 0x12345678u), fillers(bytes, 'x'),
          halfFormat(QByteArray::number(bytes / 2) + 'v'),
          quarterFormat(QByteArray::number(bytes / 4) + 'V')
    {
        for (int i = 0; i < bytes; ++i)
            source[i] = static_cast<char>(i * 31 + (i >> 8));
    }

    const unsigned char *in() const
    {
        return reinterpret_cast<const unsigned char *>(source.constData());
    }
    unsigned char *out() { return reinterpret_cast<unsigned char *>(target.data()); }
    unsigned char *wideOut() { return reinterpret_cast<unsigned char *>(wide.data()); }

    const int length;
    QByteArray source;
    QByteArray target;
    QByteArray wide;
    std::vector<unsigned short> half;
    std::vector<unsigned int> quarter;
    const QByteArray fillers;
    const QByteArray halfFormat;
    const QByteArray quarterFormat;
};

typedef void (*Form)(Buffers &);

struct Row {
    const char *function;
    const char *form;
    Form run;
};

template <typename Register, Register (*Step)(Register, unsigned char)>
void ourSteps(Buffers &b)
{
    Register crc = static_cast<Register>(~0u);
    const unsigned char *data = b.in();
    for (int i = 0; i < b.length; ++i)
        crc = Step(crc, data[i]);
    benchmark::DoNotOptimize(crc);
}

template <unsigned int Polynomial>
void plainSteps(Buffers &b)
{
    static const PlainCrcTable table = plainReflectedTable(Polynomial);
    benchmark::DoNotOptimize(plainReflected16(table, b.in(), b.length));
}

template <typename Crc>
void boostCrc(Buffers &b)
{
    Crc crc;
    crc.process_bytes(b.source.constData(), static_cast<size_t>(b.length));
    benchmark::DoNotOptimize(crc.checksum());
}

typedef boost::crc_optimal<16, 0x8005, 0, 0, true, true> BoostArc;
typedef boost::crc_optimal<16, 0x1021, 0, 0, false, false> BoostCcitt;
typedef boost::crc_optimal<16, 0x1021, 0, 0, true, true> BoostKermit;
typedef boost::crc_optimal<16, 0x3D65, 0, 0xFFFF, true, true> BoostDnp;

const Row CRC_ROWS[] = {
    {"CRC16Calculate", "ours",
     [](Buffers &b) { benchmark::DoNotOptimize(CRC16Calculate(b.in(), b.length)); }},
    {"CRC16Calculate", "plain loop", plainSteps<0xA001>},
    {"CRC16Calculate", "Boost.CRC", boostCrc<BoostArc>},
    {"update_crc_16", "ours", ourSteps<unsigned short, update_crc_16>},
    {"update_crc_16", "plain loop", plainSteps<0xA001>},
    {"update_crc_16", "Boost.CRC", boostCrc<BoostArc>},
    {"update_crc_ccitt", "ours", ourSteps<unsigned short, update_crc_ccitt>},
    {"update_crc_ccitt", "plain loop",
     [](Buffers &b) {
         static const PlainCrcTable table = plainCcittTable();
         benchmark::DoNotOptimize(plainCcitt(table, b.in(), b.length));
     }},
    {"update_crc_ccitt", "Boost.CRC", boostCrc<BoostCcitt>},
    {"update_crc_kermit", "ours", ourSteps<unsigned short, update_crc_kermit>},
    {"update_crc_kermit", "plain loop", plainSteps<0x8408>},
    {"update_crc_kermit", "Boost.CRC", boostCrc<BoostKermit>},
    {"update_crc_dnp", "ours", ourSteps<unsigned short, update_crc_dnp>},
    {"update_crc_dnp", "plain loop", plainSteps<0xA6BC>},
    {"update_crc_dnp", "Boost.CRC", boostCrc<BoostDnp>},
    {"update_crc_32", "ours", ourSteps<unsigned int, update_crc_32>},
    {"update_crc_32", "plain loop",
     [](Buffers &b) {
         static const PlainCrcTable table = plainReflectedTable(0xEDB88320u);
         benchmark::DoNotOptimize(plainReflected32(table, b.in(), b.length));
     }},
    {"update_crc_32", "zlib",
     [](Buffers &b) { benchmark::DoNotOptimize(zlibCrc32(b.in(), b.length)); }},
    {"update_crc_32", "Boost.CRC", boostCrc<boost::crc_32_type>},
    {"update_crc_sick", "ours",
     [](Buffers &b) {
         unsigned short crc = 0;
         unsigned char previous = 0;
         const unsigned char *data = b.in();
         for (int i = 0; i < b.length; previous = data[i++])
             crc = update_crc_sick(crc, data[i], previous);
         benchmark::DoNotOptimize(crc);
     }},
    {"update_crc_sick", "plain loop",
     [](Buffers &b) { benchmark::DoNotOptimize(plainSick(b.in(), b.length)); }},
};

const Row SUM_ROWS[] = {
    {"UInt8CheckSum", "ours",
     [](Buffers &b) { benchmark::DoNotOptimize(UInt8CheckSum(b.in(), b.length)); }},
    {"UInt8CheckSum", "plain loop",
     [](Buffers &b) { benchmark::DoNotOptimize(plainSum(b.in(), b.length)); }},
    {"UShortCheckSum", "ours",
     [](Buffers &b) { benchmark::DoNotOptimize(UShortCheckSum(b.in(), b.length)); }},
    {"UShortCheckSum", "plain loop",
     [](Buffers &b) { benchmark::DoNotOptimize(plainSum(b.in(), b.length)); }},
    {"XorUInt8CheckSum", "ours",
     [](Buffers &b) { benchmark::DoNotOptimize(XorUInt8CheckSum(b.in(), b.length)); }},
    {"XorUInt8CheckSum", "plain loop",
     [](Buffers &b) { benchmark::DoNotOptimize(plainXor(b.in(), b.length)); }},
};

const Row BIT_ROWS[] = {
    {"CopyBits to bit 0", "ours",
     [](Buffers &b) { CopyBits(b.target, b.source, 0, 8 * b.length); }},
    {"CopyBits to bit 0", "plain loop",
     [](Buffers &b) { plainCopyBits(b.out(), b.in(), b.length, 0); }},
    {"CopyBits to bit 3", "ours",
     [](Buffers &b) { CopyBits(b.target, b.source, SHIFT, 8 * b.length); }},
    {"CopyBits to bit 3", "plain loop",
     [](Buffers &b) { plainCopyBits(b.out(), b.in(), b.length, SHIFT); }},
    {"RightShiftNBits by 3", "ours", [](Buffers &b) { RightShiftNBits(b.target, SHIFT); }},
    {"RightShiftNBits by 3", "plain loop",
     [](Buffers &b) { plainShiftRight(b.out(), b.target.size(), SHIFT); }},
    {"RightShiftNBits by 11", "ours", [](Buffers &b) { RightShiftNBits(b.target, 8 + SHIFT); }},
    {"RightShiftNBits by 11", "plain loop",
     [](Buffers &b) { plainShiftRight(b.out(), b.target.size(), 8 + SHIFT); }},
    {"ExpandBitsToBytes", "ours",
     [](Buffers &b) { benchmark::DoNotOptimize(ExpandBitsToBytes(b.source, 0, b.length)); }},
    {"ExpandBitsToBytes", "plain loop",
     [](Buffers &b) {
         QByteArray expanded(b.length, Qt::Uninitialized);
         plainExpandBits(reinterpret_cast<unsigned char *>(expanded.data()), b.in(), b.length);
         benchmark::DoNotOptimize(expanded);
     }},
    {"getBit", "ours",
     [](Buffers &b) {
         unsigned int ones = 0;
         for (int i = 0; i < b.length; ++i)
             ones += getBit(b.in(), i);
         benchmark::DoNotOptimize(ones);
     }},
    {"getBit", "plain loop",
     [](Buffers &b) { benchmark::DoNotOptimize(plainCountBits(b.in(), b.length)); }},
    {"setBit", "ours",
     [](Buffers &b) {
         unsigned char *bits = b.out();
         for (int i = 0; i < b.length; ++i)
             setBit(bits, i, i % 3 == 0);
     }},
    {"setBit", "plain loop", [](Buffers &b) { plainSetBits(b.out(), b.length); }},
};

const Row SWAP_ROWS[] = {
    {"toLittleEndianUShortArray", "ours", [](Buffers &b) { toLittleEndianUShortArray(b.target); }},
    {"toLittleEndianUShortArray", "plain loop",
     [](Buffers &b) { plainSwap16(b.out(), b.out(), b.target.size()); }},
    {"toLittleEndianULongArray", "ours", [](Buffers &b) { toLittleEndianULongArray(b.target); }},
    {"toLittleEndianULongArray", "plain loop",
     [](Buffers &b) { plainSwap32(b.out(), b.out(), b.target.size()); }},
    {"fromBigEndianUShortArray", "ours",
     [](Buffers &b) { benchmark::DoNotOptimize(fromBigEndianUShortArray(b.in(), b.length / 2)); }},
    {"fromBigEndianUShortArray", "plain loop",
     [](Buffers &b) {
         QByteArray swapped(b.length, Qt::Uninitialized);
         plainSwap16(reinterpret_cast<unsigned char *>(swapped.data()), b.in(), b.length);
         benchmark::DoNotOptimize(swapped);
     }},
    {"reverseArray", "ours", [](Buffers &b) { benchmark::DoNotOptimize(reverseArray(b.source)); }},
    {"reverseArray", "plain loop",
     [](Buffers &b) {
         QByteArray reversed(b.length, Qt::Uninitialized);
         plainReverse(reinterpret_cast<unsigned char *>(reversed.data()), b.in(), b.length);
         benchmark::DoNotOptimize(reversed);
     }},
    {"RotateArray by a third", "ours",
     [](Buffers &b) { RotateArray(b.out(), b.length / 3, b.length - b.length / 3); }},
    {"RotateArray by a third", "plain loop",
     [](Buffers &b) { plainRotate(b.out(), b.length, b.length / 3, b.wideOut()); }},
};

const Row PACK_ROWS[] = {
    {"DataPack of 16 bits", "ours",
     [](Buffers &b) { DataPack(b.out(), b.halfFormat.constData(), b.half.data()); }},
    {"DataPack of 16 bits", "plain loop",
     [](Buffers &b) { plainStore16(b.out(), b.half.data(), b.length / 2); }},
    {"DataPack of 32 bits", "ours",
     [](Buffers &b) { DataPack(b.out(), b.quarterFormat.constData(), b.quarter.data()); }},
    {"DataPack of 32 bits", "plain loop",
     [](Buffers &b) { plainStore32(b.out(), b.quarter.data(), b.length / 4); }},
    {"DataUnpack of 16 bits", "ours",
     [](Buffers &b) { DataUnpack(b.in(), b.halfFormat.constData(), b.half.data()); }},
    {"DataUnpack of 16 bits", "plain loop",
     [](Buffers &b) { plainLoad16(b.half.data(), b.in(), b.length / 2); }},
    {"ByteArrayPack of 16 bits", "ours",
     [](Buffers &b) {
         benchmark::DoNotOptimize(ByteArrayPack(b.halfFormat.constData(), b.half.data()));
     }},
    {"ByteArrayPack of 16 bits", "plain loop",
     [](Buffers &b) {
         QByteArray packed(b.length, Qt::Uninitialized);
         plainStore16(reinterpret_cast<unsigned char *>(packed.data()), b.half.data(),
                      b.length / 2);
         benchmark::DoNotOptimize(packed);
     }},
    {"ByteArrayPack item by item", "ours",
     [](Buffers &b) { benchmark::DoNotOptimize(ByteArrayPack(b.fillers.constData())); }},
    {"ByteArrayPack item by item", "plain loop",
     [](Buffers &b) {
         QByteArray packed;
         for (int i = 0; i < b.length; ++i)
             packed.append('\0');
         benchmark::DoNotOptimize(packed);
     }},
};

template <size_t Count>
void registerRows(const Row (&rows)[Count])
{
    for (const Row &row : rows) {
        for (const int size : SIZES) {
            const std::string name =
                std::string(row.function) + "/" + row.form + "/" + std::to_string(size);
            const Form run = row.run;
            benchmark::RegisterBenchmark(name.c_str(), [run, size](benchmark::State &state) {
                Buffers buffers(size);
                for (auto _ : state) {
                    run(buffers);
                    benchmark::ClobberMemory();
                }
                state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * size);
            });
        }
    }
}

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    registerRows(CRC_ROWS);
    registerRows(SUM_ROWS);
    registerRows(BIT_ROWS);
    registerRows(SWAP_ROWS);
    registerRows(PACK_ROWS);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
