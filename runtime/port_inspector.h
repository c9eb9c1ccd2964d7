/// What the system tells about serial ports without opening them. Opening a port only to learn
/// whether it is taken would set the levels on its wire.
#ifndef RUNTIME_PORT_INSPECTOR_H
#define RUNTIME_PORT_INSPECTOR_H

#include <QtCore/QMultiMap>
#include <QtCore/QString>
#include <QtCore/QStringList>

/// Looks the processes up once; the files of a port when it is asked for.
class PortInspector
{
public:
    /// @param root where dev, proc and sys lie; ends in a slash
    explicit PortInspector(const QString &root = QStringLiteral("/"));

    /// The name of a port that stays with its adapter, such as /dev/serial/by-id/usb-ACME-if00.
    /// @param device a path, as for all functions here @return empty for none
    QString lastingName(const QString &device) const;

    /// The processes that have a port open, as far as we may see: "panel (1234)".
    QStringList users(const QString &device) const;

private:
    const QString m_root;
    QMultiMap<QString, QString> m_users; // of each open file
};

#endif
