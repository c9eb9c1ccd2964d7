/// The page of a report: one HTML file that holds all it needs.
#ifndef APPS_KVLINK_REPORT_PAGE_H
#define APPS_KVLINK_REPORT_PAGE_H

#include <QtCore/QByteArray>

class QJsonObject;

/// @param data as apps/kvlink/report/page.js expects it; whatever its texts are, they stay data
QByteArray reportPage(const QJsonObject &data);

#endif
