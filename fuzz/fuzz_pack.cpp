// The pack language: three interpreters against one plain model.
#include "fuzz/fuzz_check.h"
#include "fuzz/pack_model.h"
#include "tools/data_pack.h"

#include <QtCore/QScopedPointer>

#include <algorithm>
#include <cstring>
#include <vector>

namespace
{

// Bytes without room behind them, and with an address even when there are none.
class Buffer
{
public:
    explicit Buffer(const QByteArray &bytes)
        : m_bytes(new unsigned char[static_cast<size_t>(bytes.size())])
    {
        std::copy(bytes.begin(), bytes.end(), m_bytes.data());
    }

    unsigned char *data() const { return m_bytes.data(); }

private:
    QScopedArrayPointer<unsigned char> m_bytes;
};

// What stands in an argument's place in a call: a value's bits, or a pointer.
typedef quintptr Passed[MOST_ARGUMENTS];

void fillSlots(Passed &passed, std::vector<Bytes> &values, const std::vector<bool> *counted)
{
    std::memset(passed, UNTOUCHED, sizeof passed);
    for (size_t i = 0; i < values.size(); ++i) {
        if (counted && !(*counted)[i])
            std::memcpy(&passed[i], &values[i][0], 4);
        else
            passed[i] = reinterpret_cast<quintptr>(&values[i][0]);
    }
}

template <typename Function, typename Target>
auto call(Function function, Target target, const char *format, const Passed &s)
    -> decltype(function(target, format))
{
    return function(target, format, s[0], s[1], s[2], s[3], s[4], s[5], s[6], s[7]);
}

void checkPacking(Model &model)
{
    Passed passed;
    fillSlots(passed, model.values, &model.counted);
    const Buffer target(QByteArray(model.packed.size(), UNTOUCHED));
    const int result = call(&DataPack, target.data(), model.format.constData(), passed);
    fuzzSame(model.fault == Model::None         ? model.packed.size()
             : model.fault == Model::WrongCount ? -1
                                                : 0,
             result, "the result of DataPack");
    fuzzSame(model.packed,
             QByteArray(reinterpret_cast<const char *>(target.data()), model.packed.size()),
             "the bytes of DataPack");
    const QByteArray array =
        ByteArrayPack(model.format.constData(), passed[0], passed[1], passed[2], passed[3],
                      passed[4], passed[5], passed[6], passed[7]);
    const bool fault = model.fault != Model::None || model.arrayFault;
    fuzzSame(fault ? QByteArray() : model.appended, array, "the bytes of ByteArrayPack");
}

void checkUnpacking(const Model &model)
{
    std::vector<Bytes> targets;
    for (size_t i = 0; i < model.values.size(); ++i)
        targets.push_back(Bytes(model.widths[i], static_cast<unsigned char>(UNTOUCHED)));
    Passed passed;
    fillSlots(passed, targets, 0);
    const Buffer source(model.packed);
    const int result = call(&DataUnpack, source.data(), model.format.constData(), passed);
    fuzzSame(model.fault == Model::None ? model.packed.size() : -1, result,
             "the result of DataUnpack");
    for (size_t i = 0; i < targets.size(); ++i)
        fuzzCheck(std::equal(targets[i].begin(), targets[i].end(), model.values[i].begin()),
                  "a value of DataUnpack", model.format);
}

} // namespace

// The format comes first, up to "|"; then one byte for each argument's pattern.
int LLVMFuzzerTestOneInput(const unsigned char *bytes, size_t size)
{
    FuzzInput input(bytes, size);
    QByteArray text = input.text();
    const int end = text.indexOf('\0');
    text = end < 0 ? text : text.left(end);
    Model model;
    for (int at = 0; at < text.size() && takeItem(model, text, at, input);) {
    }
    checkPacking(model);
    checkUnpacking(model);
    return 0;
}
