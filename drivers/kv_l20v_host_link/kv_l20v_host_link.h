/// @file
/// The driver for a KEYENCE KV series PLC behind a KV-L20V serial unit's ASCII Host Link.
#ifndef DRIVERS_KV_L20V_HOST_LINK_KV_L20V_HOST_LINK_H
#define DRIVERS_KV_L20V_HOST_LINK_KV_L20V_HOST_LINK_H

#include "drivers/driver_interface.h"
#include "drivers/kv_l20v_host_link/kv_l20v_devices.h"
#include "drivers/kv_l20v_host_link/kv_l20v_lines.h"
#include "tools/qt_compat.h"

#include <QtCore/QByteArray>
#include <QtCore/QObject>
#include <QtCore/QRegExp>
#include <QtCore/QString>

#include <map>
#include <vector>

/// What few requests need stays outside the others' way.
#define KV_L20V_RARE __attribute__((cold, noinline))

/// Every request is three exchanges, a line and its reply each: the open line, one data line, the
/// close line. Failures are reported by result and `hasError` / `getLastError`. Nothing is logged.
/// Between calls nothing counts but the error state.
class DriverKV_L20V_HostLink : public QObject, public DriverInterface
{
    Q_OBJECT
    Q_INTERFACES(DriverInterface)
    Q_PLUGIN_METADATA(IID "com.quorvane.drivers.DriverInterface/1.1")

public:
    /// Order of device prefixes: letter case does not matter, a beginning comes before the longer
    /// text.
    struct ci_less {
        bool operator()(const QByteArray &a, const QByteArray &b) const;
    };

    DriverKV_L20V_HostLink();

    int totalSize();
    int write(AbstractDeviceInterface *device, const CommunicatorCommand &command,
              const QByteArray &data);
    QByteArray read(AbstractDeviceInterface *device, const CommunicatorCommand &command);
    int initialize(AbstractDeviceInterface *device);
    int validation(const QString &text);
    QString name();
    QString vender();
    QString getVersionNumber();
    DeviceSetting *getDefaultSerialDeviceSetting();
    DriverSetting *getDefaultDriverSetting();
    QString getStringBasedDefaultDriverSetting();
    int supportedCommunicationFlags();

    /// Keeps @p on, and has no other effect: see `DriverInterface` for where tracing is had.
    void setDebugMode(bool on);

    int getBlockAccessSize();
    int getBitBlockAccessSize();
    bool hasError();
    QString getLastError();
    QObject *getThisObject();

    /// Records a failure: sets the error flag and keeps @p text as the latest error text.
    void setCommError(const QString &text);

    /// Clears the error flag; the latest error text stays readable.
    void clearError();

private:
    typedef std::map<QByteArray, QByteArray, ci_less> DeviceTable;

    enum Acceptance { AnyReply, OkReply };

    // What a reply looks like. The pattern is built when it is first asked: a link without faults
    // asks none.
    struct Form {
        QRegExp DriverKV_L20V_HostLink::*pattern;
        const char *text;
        Qt::CaseSensitivity caseSensitivity;
    };
    static const Form ERROR_FORM;

    // The reply to a read: what decodes it, how many bits an item's value has, and the error text
    // for another form.
    struct ReplyForm {
        Form form;
        int (*decode)(const char *rsp, int length, int count, char *out);
        unsigned int valueBits;
        const char *wrongForm;
    };
    static const ReplyForm REPLY_FORMS[]; // by KV_L20V_Form

    void beginAttempt(AbstractDeviceInterface *device);
    bool isToRepeat(AbstractDeviceInterface *device, int attempt);
    QByteArray readOnce(AbstractDeviceInterface *device, const CommunicatorCommand &command);
    int writeOnce(AbstractDeviceInterface *device, const CommunicatorCommand &command,
                  const QByteArray &data);

    // Reads. Each result is the data, or empty with the error recorded.
    QByteArray readBytes(AbstractDeviceInterface *device, const QString &addressText,
                         int byteLength);
    QByteArray readUInt32s(AbstractDeviceInterface *device, const QString &addressText,
                           int byteLength);
    QByteArray readBits(AbstractDeviceInterface *device, const CommunicatorCommand &command);
    QByteArray continuousRead(AbstractDeviceInterface *device, KV_L20V_Form form, int count,
                              int byteLength);
    // The address is the one that takeWordAddress() has taken.
    int sendReadHexWordsCmd(AbstractDeviceInterface *device, const QByteArray &address, uint words);
    QByteArray receiveItems(AbstractDeviceInterface *device, KV_L20V_Form form, int count,
                            int byteLength);
    QByteArray takeItems(AbstractDeviceInterface *device, KV_L20V_Form form, int count,
                         int byteLength);
    int hexWordsRspToByteArray(QByteArray &words);
    int decodeRsp(KV_L20V_Form form, int count, char *out);
    KV_L20V_RARE int decodeOddRsp(const ReplyForm &wanted, int count, char *out);

    // Writes. Each result is 1, or 0 with the error recorded.
    int writeBytes(AbstractDeviceInterface *device, const CommunicatorCommand &command,
                   const QByteArray &data);
    int writeBitKinds(AbstractDeviceInterface *device, const CommunicatorCommand &command,
                      const QByteArray &data);
    int writeBits(AbstractDeviceInterface *device, const QByteArray &address,
                  const QByteArray &data);
    int writeBit(AbstractDeviceInterface *device, const QByteArray &prefix, int number, bool value);
    // The address is the one that takeWordAddress() has taken.
    int packWriteHexWordsCmd(AbstractDeviceInterface *device, const QByteArray &address,
                             const QByteArray &words);
    bool writeLine(AbstractDeviceInterface *device, int length, Acceptance wanted);

    // What is refused before anything is sent. Each result is true, or false with the error
    // recorded.
    bool checkCarriedAddress(const QString &address);
    bool checkDataLength(qint64 bytes);
    bool checkWriteLine(int length, int dataBytes);

    // They record a failure with its text, and give the result of the step that failed.
    bool failed(const QString &text);
    bool failed(const char *text);
    bool refuseStation(int station);
    bool refuseDataLength(qint64 bytes);
    bool refuseEmptyAddress();
    bool refuseAddress(const char *reason);
    bool refuseReadLine(int count);
    bool refuseWriteLine(int dataBytes);
    bool refuseWordWrite();
    bool refuseBitRun(int bits);
    bool refuseContact(const QByteArray &prefix);

    const QByteArray &takeAddress(const QString &address);
    void dropPresetLetter();
    bool takeWordAddress(const QByteArray &address);
    KV_L20V_RARE bool takeParsedNumber(const QByteArray &address);

    // Exchanges. Each result is 1 or true, or 0 or false with the error recorded.
    int startComm(AbstractDeviceInterface *device);
    int endComm(AbstractDeviceInterface *device);
    bool receiveRsp(AbstractDeviceInterface *device);
    bool receiveAcceptance(AbstractDeviceInterface *device, Acceptance wanted);
    KV_L20V_RARE bool failedByReply(const char *reply, int received);
    KV_L20V_RARE bool failedByErrorReply(const char *reply, int received);
    KV_L20V_RARE bool hasForm(const Form &form, const char *reply, int length);

    // The reply of a data line, in the response buffer.
    void resetRsp();
    int readRspUntilLF(AbstractDeviceInterface *device);
    int rspLen() const { return m_rspLen; }

    bool m_hasError;
    bool m_debugMode;
    int m_rspLen;
    QString m_lastError;
    QRegExp m_bitsRsp;
    QRegExp m_dec10Rsp;
    QRegExp m_timerCounterRsp;
    QRegExp m_errorRsp;
    QRegExp m_hexWordsRsp;
    std::vector<char> m_rspBuf;
    std::vector<char> m_cmdBuf;
    DeviceTable m_map;
    std::vector<const char *> m_formats; // those of the map, by a device's index: no search by text

    // The address of the request at hand: its text, that in bytes, the row of its device, and what
    // names it in a line of words, with its number when the address has no such digits.
    const QString *m_givenAddress;
    QByteArray m_address;
    const KV_L20V_Device *m_row;
    KV_L20V_WordAddress m_words;
    QByteArray m_digits;
};

#endif
