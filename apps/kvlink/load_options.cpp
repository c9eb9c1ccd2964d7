#include "apps/kvlink/load_options.h"

#include "apps/argument_text.h"
#include "apps/option_checks.h"
#include "drivers/kv_l20v_host_link/kv_l20v_limits.h"
#include "items/device_address.h"
#include "runtime/serial_port.h"

#include <CLI/CLI.hpp>

void addLoadOptions(CLI::App *command, LoadOptions *options, const char *address, const char *words)
{
    command->add_option_function<std::string>("address", into(&options->address), address)
        ->type_name("ADDRESS")
        ->default_str(options->address.toStdString());
    command->add_option("-n", options->words, words)
        ->transform(decimalRange(1, KV_L20V_MAX_WORDS))
        ->capture_default_str();
}

void addBaudOption(CLI::App *command, LoadOptions *options)
{
    command
        ->add_option("--baud", options->baudRate,
                     "Speed of the wire behind a TCP port, for the share of its time")
        ->default_str("that of the serial port")
        ->transform(decimalRange(MIN_BAUD_RATE, MAX_BAUD_RATE));
}

Failure checkWordAddress(const QString &address)
{
    DeviceAddress parsed;
    if (parseDeviceAddress(address, &parsed) && parsed.form != DeviceForm::Values)
        return Failure();
    return Failure(StatusUsage, address + QLatin1String(": expected a word, such as DM0"));
}
