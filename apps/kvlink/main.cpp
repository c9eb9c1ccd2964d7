// kvlink: reads and writes the devices of a PLC through the driver plug-in.
#include "apps/kvlink/command_line.h"
#include "apps/standard_streams.h"
#include "runtime/client.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QTextStream>

#include <cstdio>

int main(int argc, char **argv)
{
    keepStandardStreams();
    QCoreApplication application(argc, argv);
    CommandLine line;
    int status = StatusGood;
    if (!parseCommandLine(argc, argv, &line, &status))
        return status;
    QTextStream out(stdout);
    QTextStream err(stderr);
    if (Failure failure = Link::check(line.link))
        return complain(err, failure);
    status = line.run(line.link, out, err);
    out.flush();
    if (out.status() == QTextStream::Ok)
        return status;
    if (readerIsGone())
        return StatusOpen;
    return complain(err, QLatin1String("cannot write to the standard output"), StatusOpen);
}
