/// @file
/// The differences between the panel's Qt 4.8 and the desk's Qt 5.15, in one place.
#ifndef TOOLS_QT_COMPAT_H
#define TOOLS_QT_COMPAT_H

#include <QtCore/QDebug>
#include <QtCore/QString>
#include <QtCore/QThread>
#include <QtCore/QtPlugin>

// Qt 4 exports a plug-in by a macro in a source file instead.
#ifndef Q_PLUGIN_METADATA
#define Q_PLUGIN_METADATA(x)
#endif

/// Gives access to the thread's own sleep, which Qt 4.8 keeps protected.
class ThreadSleep : public QThread
{
public:
    using QThread::msleep;
};

/// Prints a text as one debug message, just as it is: a QDebug alone would quote and escape it, and
/// drop a last space in Qt 5.
inline void printDebugText(const QString &text)
{
#if QT_VERSION >= 0x050400
    qDebug().nospace().noquote() << text;
#else
    qDebug("%s", text.toUtf8().constData());
#endif
}

#endif
