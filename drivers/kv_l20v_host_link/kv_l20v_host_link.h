/// @file
/// The driver for a KEYENCE KV series PLC behind a KV-L20V serial unit's ASCII Host Link.
#ifndef DRIVERS_KV_L20V_HOST_LINK_KV_L20V_HOST_LINK_H
#define DRIVERS_KV_L20V_HOST_LINK_KV_L20V_HOST_LINK_H

#include "drivers/driver_interface.h"
#include "drivers/kv_l20v_host_link/kv_l20v_request_lines.h"
#include "tools/qt_compat.h"

#include <QtCore/QByteArray>
#include <QtCore/QObject>
#include <QtCore/QRegExp>
#include <QtCore/QString>

#include <map>
#include <vector>

/// Every request is one bracketed exchange: the open line, one data line, the close line, each with
/// its reply. Failures are reported by result and `hasError` / `getLastError`; nothing is logged
/// and nothing is kept between calls but the error state and the lines of the latest reads.
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

    enum LineKind { ReadLine, WriteLine };

    enum WriteReply { AnyReply, OkReply };

    // What the reply to a read must look like, the error text for one that does not, and what is
    // wanted of it: how many items, into how many bytes.
    struct ReplyForm {
        const QRegExp *pattern;
        bool (*decode)(const char *rsp, int length, int count, char *out);
        const char *wrongForm;
        int count;
        int bytes;
    };

    // A word device's address, taken apart for a line.
    struct WordDevice {
        const char *prefix;
        unsigned int number;
        const char *format;
    };

    void beginAttempt(AbstractDeviceInterface *device);
    bool tryAgain(AbstractDeviceInterface *device, int attempt);
    QByteArray readOnce(AbstractDeviceInterface *device, const CommunicatorCommand &command);
    int writeOnce(AbstractDeviceInterface *device, const CommunicatorCommand &command,
                  const QByteArray &data);

    // The session. Each result is 1, or 0 with the error recorded.
    int startComm(AbstractDeviceInterface *device);
    int endComm(AbstractDeviceInterface *device);
    bool sessionStep(AbstractDeviceInterface *device, const char *line, int length, char *reply);
    bool failed(const QString &text);

    // One bracketed exchange, from its open line on.
    bool ask(AbstractDeviceInterface *device, LineKind kind, const char *line, int length);
    QByteArray readItems(AbstractDeviceInterface *device, const char *line, int length,
                         const ReplyForm &form);
    bool writeItems(AbstractDeviceInterface *device, const char *line, int length,
                    WriteReply reply);

    // The reply of a data line, received into the cleared response buffer.
    void resetRsp();
    int readRspUntilLF(AbstractDeviceInterface *device);
    int rspLen() const { return m_rspLen; }
    bool failedByErrorReply(const char *reply, int received);
    bool decodeRsp(const ReplyForm &form, char *out);

    // Reads. Each result is the data, or empty with the error recorded.
    QByteArray readBytes(AbstractDeviceInterface *device, const QString &addressText,
                         int byteLength);
    QByteArray readHexWords(AbstractDeviceInterface *device, const char *line, int length,
                            unsigned int words, int byteLength);
    QByteArray readUInt32s(AbstractDeviceInterface *device, const QByteArray &address,
                           int byteLength);
    QByteArray readBits(AbstractDeviceInterface *device, const CommunicatorCommand &command);
    QByteArray continuousRead(AbstractDeviceInterface *device, const char *address,
                              const ReplyForm &form);

    // Writes. Each result is 1, or 0 with the error recorded.
    int writeBytes(AbstractDeviceInterface *device, const CommunicatorCommand &command,
                   const QByteArray &data);
    int writeBitKinds(AbstractDeviceInterface *device, const CommunicatorCommand &command,
                      const QByteArray &data);
    int writeBits(AbstractDeviceInterface *device, const QByteArray &address,
                  const QByteArray &data);
    int writeBit(AbstractDeviceInterface *device, const QByteArray &prefix, int number, bool value);

    // Lines into the command buffer. Each result is the length, or 0 with the error recorded.
    int packReadHexWordsCmd(const QByteArray &address, unsigned int words);
    int packWriteHexWordsCmd(const QByteArray &address, const QByteArray &data);

    const QByteArray &takeAddress(const QString &address);

    // What is refused before anything is sent. Each result is true, or false with the error
    // recorded.
    bool parseWordAddress(const QByteArray &address, WordDevice &word);
    bool checkCarriedAddress(const QString &address);
    bool checkDataLength(qint64 bytes);
    bool checkWriteLine(int length, int dataBytes);

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
    KV_L20V_RequestLines m_requestLines;
    QByteArray m_address;          // of the request at hand, in bytes; kept for its allocation
    QByteArray m_prefix;           // likewise
    const QString *m_givenAddress; // the request's own text, for refusals
};

#endif
