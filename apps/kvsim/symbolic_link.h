/// A symbolic link to the simulator's device, under a name that scripts know beforehand.
#ifndef APPS_KVSIM_SYMBOLIC_LINK_H
#define APPS_KVSIM_SYMBOLIC_LINK_H

#include "runtime/failure.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

/// The link exists from a successful create() to the object's end.
class SymbolicLink
{
public:
    SymbolicLink() {}

    /// Removes the link, unless it points elsewhere by now.
    ~SymbolicLink();

    /// Makes @p path a symbolic link to @p target. A symbolic link that leads nowhere is replaced,
    /// nothing else is.
    /// @return StatusOpen when the link cannot be made
    Failure create(const QString &path, const QString &target);

private:
    Q_DISABLE_COPY(SymbolicLink)

    QByteArray m_path; // empty without a link
    QByteArray m_target;
};

#endif
