/// A symbolic link to the simulator's device, under a name that scripts know beforehand.
#ifndef APPS_KVSIM_DEVICE_LINK_H
#define APPS_KVSIM_DEVICE_LINK_H

#include "runtime/failure.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

/// The link exists from a successful create() to the object's end.
class DeviceLink
{
public:
    DeviceLink() {}

    /// Removes the link, unless it points elsewhere by now.
    ~DeviceLink();

    /// Makes @p path a symbolic link to @p target. An older symbolic link is replaced, nothing else
    /// is.
    /// @return StatusOpen when the link cannot be made
    Failure create(const QString &path, const QString &target);

private:
    Q_DISABLE_COPY(DeviceLink)

    QByteArray m_path; // empty without a link
    QByteArray m_target;
};

#endif
