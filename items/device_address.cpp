#include "items/device_address.h"

#include <algorithm>

namespace
{

struct DeviceRow {
    const char *prefix;
    int base;
    DeviceForm form;
};

// The devices that are read by words, and by runs of words in one request. All others hold one
// value a number.
const DeviceRow WORD_DEVICES[] = {
    {"R", 10, DeviceForm::Channels},  {"B", 16, DeviceForm::Channels},
    {"MR", 10, DeviceForm::Channels}, {"LR", 10, DeviceForm::Channels},
    {"CR", 10, DeviceForm::Channels}, {"VB", 16, DeviceForm::Channels},
    {"DM", 10, DeviceForm::Words},    {"EM", 10, DeviceForm::Words},
    {"FM", 10, DeviceForm::Words},    {"ZF", 10, DeviceForm::Words},
    {"W", 16, DeviceForm::Words},     {"TM", 10, DeviceForm::Words},
    {"Z", 10, DeviceForm::Words},     {"CM", 10, DeviceForm::Words},
    {"VM", 10, DeviceForm::Words},
};

// Far above every device's last number, so that sums of numbers and counts fit.
const quint32 MAX_NUMBER = 99999999;

bool isNumber(const QString &text, int base)
{
    return !text.isEmpty() && std::all_of(text.begin(), text.end(), [base](QChar c) {
        return (c >= QLatin1Char('0') && c <= QLatin1Char('9')) ||
               (base == 16 && c >= QLatin1Char('A') && c <= QLatin1Char('F'));
    });
}

bool parseNumber(const QString &text, int base, quint32 *number)
{
    bool ok = false;
    *number = text.toUInt(&ok, base);
    return ok && *number <= MAX_NUMBER;
}

} // namespace

QString DeviceAddress::at(quint32 other) const
{
    return prefix + QString::number(other, base).toUpper();
}

bool parseDeviceAddress(const QString &text, DeviceAddress *address)
{
    const QString upper = text.toUpper();
    DeviceAddress found;
    for (const DeviceRow &row : WORD_DEVICES) {
        const QLatin1String prefix(row.prefix);
        if (!upper.startsWith(prefix))
            continue;
        // Letters that are digits belong to the number, even of one that is too large.
        const QString number = upper.mid(prefix.size());
        if (!isNumber(number, row.base))
            continue;
        found.prefix = prefix;
        found.base = row.base;
        found.form = row.form;
        if (!parseNumber(number, row.base, &found.number))
            return false;
        *address = found;
        return true;
    }
    int letters = 0;
    while (letters < upper.size() && upper.at(letters) >= QLatin1Char('A') &&
           upper.at(letters) <= QLatin1Char('Z'))
        ++letters;
    found.prefix = upper.left(letters);
    found.base = 10;
    found.form = DeviceForm::Values;
    const QString number = upper.mid(letters);
    if (letters == 0 || !isNumber(number, 10) || !parseNumber(number, 10, &found.number))
        return false;
    *address = found;
    return true;
}
