#include "apps/kvlink/report_page.h"

#include "apps/kvlink/output_table.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QFile>
#include <QtCore/QJsonObject>

// Not in a namespace: the macro declares a function.
static void initResources()
{
    Q_INIT_RESOURCE(report);
}

namespace
{

QByteArray resource(const char *name)
{
    QFile file(QLatin1String(":/report/") + QLatin1String(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Allows an element with exactly this content.
QByteArray hashed(const QByteArray &content)
{
    return "'sha256-" + QCryptographicHash::hash(content, QCryptographicHash::Sha256).toBase64() +
           "'";
}

// The browser looks for the end of the data before it looks for strings in it.
QByteArray dataOfScript(const QJsonObject &data)
{
    return asciiJson(data).toLatin1().replace("<", "\\u003c");
}

} // namespace

QByteArray reportPage(const QJsonObject &data)
{
    initResources();
    const QByteArray style = resource("uplot/uPlot.min.css") + resource("page.css");
    const QByteArray plots = resource("uplot/uPlot.iife.min.js");
    const QByteArray script = resource("page.js");
    const struct {
        const char *mark;
        QByteArray text;
    } parts[] = {
        {"@POLICY@", "default-src 'none'; style-src " + hashed(style) + "; script-src " +
                         hashed(plots) + ' ' + hashed(script)},
        {"@STYLE@", style},
        {"@DATA@", dataOfScript(data)},
        {"@LICENCE@", resource("uplot/LICENSE")},
        {"@PLOTS@", plots},
        {"@SCRIPT@", script},
    };
    // From front to back: a text may hold a mark.
    QByteArray rest = resource("page.html");
    QByteArray page;
    for (const auto &part : parts) {
        const int at = rest.indexOf(part.mark);
        page += rest.left(at) + part.text;
        rest.remove(0, at + static_cast<int>(qstrlen(part.mark)));
    }
    return page + rest;
}
