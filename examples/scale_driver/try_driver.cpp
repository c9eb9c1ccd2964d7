// Loads a driver plug-in, reads W0 through it from a channel that plays the scale, and prints the
// weight.
#include "drivers/abstract_device_interface.h"
#include "drivers/driver_interface.h"
#include "tools/tools.h"

#include <QtCore/QPluginLoader>

#include <cstdio>
#include <cstring>

namespace
{

class Scale : public AbstractDeviceInterface
{
public:
    int read(char *buffer, int maxLength)
    {
        const QByteArray answer = m_answer.left(maxLength);
        m_answer = m_answer.mid(maxLength);
        std::memcpy(buffer, answer.constData(), static_cast<size_t>(answer.size()));
        return answer.size();
    }

    int write(const char *buffer, int length)
    {
        m_answer = QByteArray(buffer, length) == "W\r\n" ? "001250\r\n" : "";
        return length;
    }

    int control(int, const QVariant &) { return 1; }
    int getRetry() { return 0; }
    int getStationId() { return 0; }
    unsigned long getDelay() { return 0; }

private:
    QByteArray m_answer;
};

} // namespace

int main(int argc, char **argv)
{
    QPluginLoader loader(QString::fromLocal8Bit(argc > 1 ? argv[1] : ""));
    DriverInterface *driver = qobject_cast<DriverInterface *>(loader.instance());
    if (!driver) {
        std::fprintf(stderr, "%s\n", qPrintable(loader.errorString()));
        return 1;
    }
    Scale scale;
    const QByteArray grams =
        driver->read(&scale, CommunicatorCommand(DoubleWord, 1, QLatin1String("W0")));
    std::printf("%s: %d g\n", qPrintable(driver->name()), QByteArrayToInt(grams));
    return grams.isEmpty() ? 1 : 0;
}
