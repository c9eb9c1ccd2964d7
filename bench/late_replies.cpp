// Reads words that hold their own address through one of several clients, and counts what comes of
// late and doubled replies. Prints a row of a Markdown table.
#include "drivers/kv_l20v_host_link/kv_l20v_host_link.h"
#include "runtime/device_channel.h"
#include "runtime/serial_port.h"
#include "runtime/tcp_port.h"
#include "tools/drv_dev_setting.h"

#include <modbus.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QEventLoop>
#include <QtCore/QVariant>
#include <QtSerialBus/QModbusDataUnit>
#include <QtSerialBus/QModbusReply>
#include <QtSerialBus/QModbusRtuSerialMaster>

#include <cstdio>
#include <iostream>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace
{

typedef std::vector<unsigned int> Words;

// The peers hold 1,000 words; a read of the most words must not leave them.
const unsigned int ADDRESSES = 900;
const int MOST_WORDS = 8;

struct Options {
    std::string place; // a device, or HOST:PORT
    int timeoutMs;
    int retries;
    bool recovers;
};

class Client
{
public:
    virtual ~Client() {}

    virtual bool open(const Options &options) = 0;

    // Words from an address on. @return whether the client calls the request done
    virtual bool read(unsigned int address, int count, Words *words) = 0;
};

bool isTcp(const Options &options)
{
    return options.place.find('/') == std::string::npos;
}

class LibmodbusClient : public Client
{
public:
    ~LibmodbusClient() override
    {
        if (m_client) {
            modbus_close(m_client);
            modbus_free(m_client);
        }
    }

    bool open(const Options &options) override
    {
        m_client = isTcp(options) ? modbus_new_tcp("127.0.0.1", std::stoi(options.place))
                                  : modbus_new_rtu(options.place.c_str(), 115200, 'N', 8, 1);
        const auto recovery = static_cast<modbus_error_recovery_mode>(
            MODBUS_ERROR_RECOVERY_LINK | MODBUS_ERROR_RECOVERY_PROTOCOL);
        return m_client && modbus_set_slave(m_client, 1) == 0 &&
               modbus_set_response_timeout(
                   m_client, 0, static_cast<std::uint32_t>(options.timeoutMs) * 1000) == 0 &&
               (!options.recovers || modbus_set_error_recovery(m_client, recovery) == 0) &&
               modbus_connect(m_client) == 0;
    }

    bool read(unsigned int address, int count, Words *words) override
    {
        std::uint16_t values[MOST_WORDS] = {};
        if (modbus_read_registers(m_client, static_cast<int>(address), count, values) != count)
            return false;
        words->assign(values, values + count);
        return true;
    }

private:
    modbus_t *m_client = nullptr;
};

class SerialBusClient : public Client
{
public:
    bool open(const Options &options) override
    {
        m_client.setConnectionParameter(QModbusDevice::SerialPortNameParameter,
                                        QString::fromStdString(options.place));
        m_client.setConnectionParameter(QModbusDevice::SerialParityParameter,
                                        QSerialPort::NoParity);
        m_client.setConnectionParameter(QModbusDevice::SerialBaudRateParameter,
                                        QSerialPort::Baud115200);
        m_client.setTimeout(options.timeoutMs);
        m_client.setNumberOfRetries(options.retries);
        return m_client.connectDevice();
    }

    bool read(unsigned int address, int count, Words *words) override
    {
        const QModbusDataUnit unit(QModbusDataUnit::HoldingRegisters, static_cast<int>(address),
                                   static_cast<quint16>(count));
        const std::unique_ptr<QModbusReply> reply(m_client.sendReadRequest(unit, 1));
        if (!reply)
            return false;
        if (!reply->isFinished()) {
            QEventLoop loop;
            QObject::connect(reply.get(), &QModbusReply::finished, &loop, &QEventLoop::quit);
            loop.exec();
        }
        const QModbusDataUnit result = reply->result();
        for (uint i = 0; i < result.valueCount(); ++i)
            words->push_back(result.value(static_cast<int>(i)));
        return reply->error() == QModbusDevice::NoError;
    }

private:
    QModbusRtuSerialMaster m_client;
};

class HostLinkClient : public Client
{
public:
    bool open(const Options &options) override
    {
        QString error;
        if (isTcp(options)) {
            TcpAddress address;
            if (parseTcpAddress(QString::fromStdString(options.place), &address, &error))
                m_port = openTcp(address, 5000, &error);
        } else {
            SerialPortSetting setting;
            setting.device = QString::fromStdString(options.place);
            setting.parity = QSerialPort::NoParity; // a pseudo-terminal has none
            QStringList warnings;
            m_port = openSerialPort(setting, &error, &warnings);
        }
        if (!m_port) {
            std::cerr << qPrintable(error) << "\n";
            return false;
        }
        m_channel.reset(new DeviceChannel(m_port.get(),
                                          DriverSetting(options.timeoutMs, options.retries, 0, 0)));
        return true;
    }

    bool read(unsigned int address, int count, Words *words) override
    {
        const CommunicatorCommand command(Word, static_cast<quint32>(count),
                                          QString::fromLatin1("DM%1").arg(address));
        const QByteArray data = m_driver.read(m_channel.get(), command);
        for (int i = 0; i + 1 < data.size(); i += 2)
            words->push_back(static_cast<unsigned char>(data.at(i)) |
                             static_cast<unsigned int>(static_cast<unsigned char>(data.at(i + 1)))
                                 << 8);
        return !data.isEmpty();
    }

private:
    DriverKV_L20V_HostLink m_driver;
    std::unique_ptr<QIODevice> m_port;
    std::unique_ptr<DeviceChannel> m_channel;
};

struct Counts {
    int right;
    int failed;
    int wrong;
    int longest; // requests in a row that were not right
};

Counts readAll(Client *client, int requests, bool mixed, std::uint32_t seed)
{
    Counts counts = {0, 0, 0, 0};
    std::mt19937 random(seed);
    int inARow = 0;
    for (int i = 0; i < requests; ++i) {
        const unsigned int address = static_cast<unsigned int>(random() % ADDRESSES);
        const int drawn = 1 + static_cast<int>(random() % MOST_WORDS);
        const int count = mixed ? drawn : 2;
        Words words;
        const bool done = client->read(address, count, &words);
        bool right = done && words.size() == static_cast<size_t>(count);
        for (size_t k = 0; right && k < words.size(); ++k)
            right = words[k] == address + k;
        counts.right += right;
        counts.failed += !done;
        counts.wrong += done && !right;
        inARow = right ? 0 : inARow + 1;
        counts.longest = qMax(counts.longest, inARow);
    }
    return counts;
}

std::unique_ptr<Client> makeClient(const std::string &name)
{
    std::unique_ptr<Client> client;
    if (name == "libmodbus")
        client.reset(new LibmodbusClient);
    else if (name == "serialbus")
        client.reset(new SerialBusClient);
    else if (name == "hostlink")
        client.reset(new HostLinkClient);
    return client;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    std::unique_ptr<Client> client;
    if (argc == 9)
        client = makeClient(argv[1]);
    if (!client) {
        std::cerr << "usage: " << argv[0]
                  << " libmodbus|serialbus|hostlink PLACE TIMEOUT_MS RETRIES|recovers "
                     "fixed|mixed REQUESTS SEED LABEL\n";
        return 2;
    }
    const std::string retries = argv[4];
    const bool recovers = retries == "recovers";
    const Options options = {argv[2], std::stoi(argv[3]), recovers ? 0 : std::stoi(retries),
                             recovers};
    if (!client->open(options)) {
        std::cerr << "cannot open " << options.place << "\n";
        return 1;
    }
    const int requests = std::stoi(argv[6]);
    const Counts counts = readAll(client.get(), requests, std::string(argv[5]) == "mixed",
                                  static_cast<std::uint32_t>(std::stoul(argv[7])));
    std::printf("| %s | %s | %d | %d | %d | %d | %d |\n", argv[8], argv[5], requests, counts.right,
                counts.failed, counts.wrong, counts.longest);
    return 0;
}
