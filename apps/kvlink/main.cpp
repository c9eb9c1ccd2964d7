// kvlink: reads and writes the devices of a PLC through the driver plug-in.
#include "apps/kvlink/command_line.h"
#include "apps/standard_streams.h"
#include "runtime/client.h"
#include "runtime/undecoded_bytes.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QTextStream>

#include <cstdio>

namespace
{

// Room for the rows of a sample, which are then one system call.
char outBuffer[65536];

} // namespace

int main(int argc, char **argv)
{
    keepStandardStreams();
    QCoreApplication application(argc, argv);
    keepUndecodedBytes();
    static_cast<void>(std::setvbuf(stdout, outBuffer, _IOFBF, sizeof outBuffer));
    QTextStream out(stdout);
    QTextStream err(stderr);
    for (QTextStream *stream : {&out, &err})
        stream->setCodec("UTF-8"); // units, names and texts, whatever the locale
    CommandLine line;
    int status = StatusGood;
    if (parseCommandLine(argc, argv, &line, out, err, &status)) {
        Failure failure = Link::check(line.link);
        status = failure ? complain(err, failure) : line.run(line.link, out, err);
    }
    return endOfOutput("kvlink", out, err, status);
}
