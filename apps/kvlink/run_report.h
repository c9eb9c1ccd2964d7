/// What a command sees while it runs, for a page to look at afterwards.
#ifndef APPS_KVLINK_RUN_REPORT_H
#define APPS_KVLINK_RUN_REPORT_H

#include "items/item.h"
#include "items/item_reader.h"
#include "runtime/client.h"
#include "runtime/thinned_series.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <mutex>

namespace CLI
{
class App;
}

/// Adds --report to a command. @param path gets the file's name
void addReportOption(CLI::App *command, QString *path);

/// A link whose requests are in a report.
struct ReportedLink {
    QString line; ///< the port, for people
    const Client *client;
};

/// Gathers requests and samples in bounded memory, however long the command runs; from several
/// threads, too. Does nothing where no report is asked for.
class RunReport
{
public:
    /// @param path  of the page; empty for no report
    /// @param title what is run, for people
    /// @param kinds the kinds of requests that are made, for people
    /// @param links names of several links; an empty one for one link alone
    RunReport(const QString &path, const QString &title,
              const QStringList &kinds = QStringList(QLatin1String("requests")),
              const QStringList &links = QStringList(QString()));

    /// Whether the page can be written, as far as one can know before. @return good, or StatusOpen
    Failure check() const;

    /// Has the client show its requests to `addRequest`. @param kind, link their indexes
    void watch(Client *client, int kind = 0, int link = 0);

    /// Takes a request into account that has just ended. @param kind, link their indexes
    void addRequest(int kind, const RequestReport &request, int link = 0);

    /// Says which items samples are of. Requires: called once, before the first one.
    void setItems(const QVector<Item> &items);

    /// Takes a sample into account. @param first index of the item that the first result is of
    void addSample(int first, const QVector<ItemResult> &results);

    /// Writes the page, whole or not at all.
    /// @param line  the port and the station, for people
    /// @param extra further members of the page's data, such as a diagnosis
    /// @return good, or StatusOpen
    Failure write(const QString &line, const Client &client, QJsonObject extra = QJsonObject());

    /// The same of all links, in the order of their names. Requires: none of them makes requests.
    Failure write(const QVector<ReportedLink> &links, QJsonObject extra = QJsonObject());

private:
    struct Reading {
        QString label;
        QString unit;
        int item; // its index
        ThinnedSeries points;
        double least;
        double most;
        QString latest;
    };

    struct Outage {
        double fromMs;
        double toMs;
        QString text;
    };

    bool isWanted() const { return !m_path.isEmpty(); }
    double nowMs() const;
    void noteFailure(const RequestReport &request, int link);
    QJsonArray factsJson(const QVector<ReportedLink> &links) const;
    void take(const Item &item, const QString &value, Reading *reading);
    QJsonArray timesJson() const;
    QJsonArray valuesJson() const;
    QJsonArray outagesJson() const;

    std::mutex m_mutex; // of all that requests and samples change
    const QString m_path;
    const QString m_title;
    const QStringList m_kinds;
    const QStringList m_links;
    const qint64 m_startMs; // since 1970
    const QString m_startText;
    QElapsedTimer m_clock;
    QVector<ThinnedSeries> m_times;
    Statistics m_statistics;
    QVector<Item> m_items;
    QVector<Reading> m_readings;
    int m_moreReadings;
    QVector<Outage> m_outages;
    int m_moreOutages;
    QVector<int> m_outageOf; // of each link, its index; -1 without an outage
    QJsonArray m_failures;
    int m_moreFailures;
};

#endif
