// kvlink: reads and writes the devices of a PLC through the driver plug-in.
#include "commands.h"
#include "options.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QTextStream>

#include <cstdio>

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    Options options;
    int status = StatusGood;
    if (!parseOptions(argc, argv, &options, &status))
        return status;
    QTextStream out(stdout);
    QTextStream err(stderr);
    status = runCommand(options, out, err);
    out.flush();
    if (out.status() == QTextStream::Ok)
        return status;
    err << "kvlink: cannot write to the standard output\n";
    return StatusOpen;
}
