#include "apps/kvlink/monitor_options.h"

#include "apps/argument_text.h"
#include "apps/duration.h"
#include "apps/kvlink/run_report.h"
#include "apps/option_checks.h"

#include <CLI/CLI.hpp>

#include <cmath>

namespace
{

const qint64 MEBIBYTE = 1024 * 1024;

// Bytes of a size such as 10M, of 1024 * 1024 bytes each; 0 for any other text.
qint64 sizeOf(std::string text)
{
    try {
        CLI::AsSizeValue{false}(text);
    } catch (const CLI::ValidationError &) {
        return 0;
    }
    return qMax<qint64>(0, QString::fromStdString(text).toLongLong());
}

// A number from 0 on; the library takes nan and inf as well.
CLI::Validator amount()
{
    return CLI::Validator(
        [](const std::string &text) {
            bool isNumber = false;
            const double value = QString::fromStdString(text).toDouble(&isNumber);
            const bool isAmount = isNumber && value >= 0 && std::isfinite(value);
            return isAmount ? std::string() : text + " is not a number from 0, such as 5 or 0.25";
        },
        "");
}

CLI::Option *addRotateOption(CLI::App *monitor, LogRotation *rotation)
{
    return monitor
        ->add_option_function<std::string>(
            "--rotate",
            [rotation](const std::string &text) {
                rotation->isDaily = text == "daily";
                rotation->maxBytes = rotation->isDaily ? 0 : sizeOf(text);
                if (!rotation->isDaily && rotation->maxBytes == 0)
                    throw CLI::ValidationError(
                        "--rotate", text + ": expected daily, or a size such as 10M or 512k");
            },
            "When FILE is renamed and begun anew")
        ->option_text("daily|SIZE");
}

// @param output the option that a spool is instead of
void addSpoolOptions(CLI::App *monitor, SpoolSettings *spool, CLI::Option *output)
{
    CLI::Option *file = addText(*monitor, "--spool", &spool->file, "FILE",
                                "File that keeps each sample until its reader has taken it")
                            ->excludes(output);
    monitor
        ->add_option_function<std::string>(
            "--spool-size",
            [spool](const std::string &text) {
                spool->maxBytes = sizeOf(text);
                if (spool->maxBytes < MEBIBYTE)
                    throw CLI::ValidationError(
                        "--spool-size", text + ": expected a size from 1M, such as 100M or 2G");
            },
            "Most that the rows in the spool may take; the oldest make room")
        ->option_text("SIZE")
        ->default_str(std::to_string(spool->maxBytes / MEBIBYTE) + 'M')
        ->needs(file);
    addText(*monitor, "--deliver", &spool->command, "COMMAND",
            "Runs for each batch of rows, instead of printing them")
        ->needs(file);
}

} // namespace

void addMonitorOptions(CLI::App *monitor, MonitorOptions *options)
{
    addReadOptions(monitor, &options->items);
    monitor
        ->add_option("--interval", options->intervalMs,
                     "Time from one sample to the next; a bare number is in ms")
        ->type_name("TIME")
        ->transform(duration(1, DAY_MS))
        ->default_str(timeWithUnit(options->intervalMs));
    monitor->add_option("--count", options->count, "Number of samples")
        ->default_str("no end")
        ->transform(decimalRange(1, 999999999));
    monitor
        ->add_option("--duration", options->durationMs,
                     "Time to go on; a bare number is in seconds")
        ->default_str("no end")
        ->type_name("TIME")
        ->transform(duration(1, 999999999 * SECOND_MS, SECOND_MS));
    CLI::Option *changesOnly = monitor->add_flag("--changes-only", options->changesOnly,
                                                 "Print an item when it has changed");
    monitor
        ->add_option("--deadband", options->deadband,
                     "With --changes-only: how far a number may move unprinted")
        ->option_text("N")
        ->check(amount())
        ->needs(changesOnly);
    CLI::Option *output =
        monitor->add_option("--output", options->output, "File to append the rows to")
            ->type_name("FILE")
            ->check(notEmpty());
    addRotateOption(monitor, &options->rotation)->needs(output);
    addSpoolOptions(monitor, &options->spool, output);
    addReportOption(monitor, &options->report);
}
