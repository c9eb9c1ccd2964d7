/// Arguments of the programs as Qt's texts.
#ifndef APPS_ARGUMENT_TEXT_H
#define APPS_ARGUMENT_TEXT_H

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <functional>
#include <string>
#include <vector>

/// An argument as Qt's text.
inline QString argumentText(const std::string &argument)
{
    return QString::fromLocal8Bit(argument.data(), static_cast<int>(argument.size()));
}

/// What stores an argument in @p text, for options with a function.
inline std::function<void(const std::string &)> into(QString *text)
{
    return [text](const std::string &argument) { *text = argumentText(argument); };
}

/// The same for an option that may be repeated.
inline std::function<void(const std::vector<std::string> &)> into(QStringList *texts)
{
    return [texts](const std::vector<std::string> &arguments) {
        for (const std::string &argument : arguments)
            *texts += argumentText(argument);
    };
}

#endif
