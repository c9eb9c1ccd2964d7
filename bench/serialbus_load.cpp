// Makes read requests with Qt SerialBus' RTU client. Arguments: port, registers per request,
// requests.
#include <QtCore/QCoreApplication>
#include <QtCore/QEventLoop>
#include <QtCore/QVariant>
#include <QtSerialBus/QModbusDataUnit>
#include <QtSerialBus/QModbusReply>
#include <QtSerialBus/QModbusRtuSerialMaster>
#include <QtSerialPort/QSerialPort>

#include <iostream>
#include <memory>
#include <string>

namespace
{

const int STATION = 1;

bool makeRequest(QModbusRtuSerialMaster *client, const QModbusDataUnit &unit)
{
    const std::unique_ptr<QModbusReply> reply(client->sendReadRequest(unit, STATION));
    if (!reply)
        return false;
    if (!reply->isFinished()) {
        QEventLoop loop;
        QObject::connect(reply.get(), &QModbusReply::finished, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return reply->error() == QModbusDevice::NoError &&
           reply->result().valueCount() == unit.valueCount();
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    if (argc != 4) {
        std::cerr << "usage: " << argv[0] << " PORT REGISTERS REQUESTS\n";
        return 2;
    }
    const int requests = std::stoi(argv[3]);
    QModbusRtuSerialMaster client;
    client.setConnectionParameter(QModbusDevice::SerialPortNameParameter,
                                  QString::fromLocal8Bit(argv[1]));
    client.setConnectionParameter(QModbusDevice::SerialParityParameter, QSerialPort::NoParity);
    client.setConnectionParameter(QModbusDevice::SerialBaudRateParameter, QSerialPort::Baud115200);
    client.setTimeout(5000);
    client.setNumberOfRetries(0);
    bool good = client.connectDevice();
    const QModbusDataUnit unit(QModbusDataUnit::HoldingRegisters, 100,
                               static_cast<quint16>(std::stoi(argv[2])));
    for (int i = 0; good && i < requests; ++i)
        good = makeRequest(&client, unit);
    if (!good)
        std::cerr << "request failed: " << qPrintable(client.errorString()) << "\n";
    return good ? 0 : 1;
}
