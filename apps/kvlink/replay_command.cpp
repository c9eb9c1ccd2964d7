// replay: sends the requests of a trace again and compares the replies.
#include "apps/argument_text.h"
#include "apps/kvlink/command_line.h"
#include "apps/kvlink/commands.h"
#include "runtime/client.h"
#include "runtime/escaped_text.h"
#include "runtime/link_channel.h"
#include "runtime/recording.h"
#include "runtime/stop_request.h"

#include <CLI/CLI.hpp>

#include <QtCore/QTextStream>

#include <memory>

namespace
{

const int MAX_REPLY_LENGTH = 65536;

QString replyText(const QByteArray &reply)
{
    return reply.isEmpty() ? QString::fromLatin1("nothing")
                           : QLatin1Char('"') + reversiblyEscapedText(reply) + QLatin1Char('"');
}

int replay(const QVector<RecordedExchange> &recording, Client &client, QTextStream &out,
           QTextStream &err)
{
    int sent = 0;
    int different = 0;
    LinkChannel *channel = client.channel();
    for (const RecordedExchange &exchange : recording) {
        channel->discardInput();
        if (stopRequested())
            break;
        ++sent;
        const int lines = qMax(1, exchange.reply.count('\n'));
        const QByteArray reply = channel->exchange(exchange.line, lines, MAX_REPLY_LENGTH);
        if (stopRequested() && reply.size() < exchange.reply.size())
            break;
        if (reply == exchange.reply)
            continue;
        ++different;
        channel->noteFailedAttempt();
        out << "line " << exchange.lineNumber << ": \"" << escapedText(exchange.line)
            << "\": recorded " << replyText(exchange.reply) << ", received " << replyText(reply)
            << '\n';
        out.flush();
    }
    const QString summary =
        QString::fromLatin1("%1 of %2 sent, %3")
            .arg(sent)
            .arg(countText(recording.size(), "recorded request", "recorded requests"),
                 countText(different, "different reply", "different replies"));
    if (different == 0 && stopRequested())
        return complain(err, QLatin1String("interrupted: ") + summary, StatusNoReply);
    return complain(err, summary, different > 0 ? StatusDiffers : StatusGood);
}

int runReplay(const std::string &file, const LinkOptions &options, QTextStream &out,
              QTextStream &err)
{
    Client client(options, err);
    QVector<RecordedExchange> recording;
    Failure failure = readTrace(argumentText(file), &recording);
    if (!failure)
        failure = client.open();
    if (failure)
        return complain(err, failure);
    return replay(recording, client, out, err);
}

} // namespace

void addReplayCommand(CLI::App &app, CommandLine *line)
{
    const auto file = std::make_shared<std::string>();
    CLI::App *command =
        app.add_subcommand("replay", "Send a trace's requests again and compare the replies");
    command->add_option("file", *file, "Trace of kvlink or kvsim")->required()->type_name("TRACE");
    command->callback([line, file] { line->run = withOptions(file, runReplay); });
}
