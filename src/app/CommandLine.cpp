#include "CommandLine.h"

#include "AICommand.h"
#include "APIError.h"
#include "CommandStore.h"
#include "Console.h"
#include "KeychainService.h"
#include "VendorManager.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <cstdio>
#include <termios.h>
#include <unistd.h>

namespace CommandLine {

namespace {

const QStringList commands{QStringLiteral("run"), QStringLiteral("models"), QStringLiteral("key")};

const char *const commandHelp =
    "Without a command, Vellumo starts on the desktop. With one, it runs without any window:\n"
    "\n"
    "  run \"TITLE OR INSTRUCTION\"  Reads the selected text from standard input, runs the\n"
    "                              command with exactly that title (or, when no title\n"
    "                              matches, the argument as a one-off instruction) through\n"
    "                              the default provider, and prints the answer exactly as\n"
    "                              received.\n"
    "  models PROVIDER             Prints the models offered for PROVIDER, one a line: the\n"
    "                              built-in ones, then those the provider lists today.\n"
    "  key set PROVIDER            Stores the API key read from standard input (never from\n"
    "                              an argument, which would land in the shell's history).\n"
    "  key delete PROVIDER         Removes the stored API key.\n"
    "\n"
    "PROVIDER is openai, anthropic or gemini.\n"
    "\n"
    "On the desktop, --verbose also prints the selected text and the answers, which\n"
    "the desktop session may keep in its journal; without it they are never printed.\n"
    "Exit status: 0 on success, 1 when the command failed (the reason on standard error),\n"
    "2 for a usage error.";

void writeOut(const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
    std::fflush(stdout);
}

void writeErr(const QString &line)
{
    Console::printError(line);
}

int usage(const QString &problem)
{
    writeErr(problem);
    writeErr(QStringLiteral("Try 'vellumo --help'."));
    return usageError;
}

QByteArray readStandardInput()
{
    QFile input;
    if (!input.open(stdin, QIODevice::ReadOnly)) {
        return {};
    }
    return input.readAll();
}

// The key from a terminal without echoing it, or from a pipe as sent minus
// its line ending.
QString readKey(AIVendor vendor)
{
    QByteArray data;
    if (isatty(STDIN_FILENO)) {
        writeErr(QStringLiteral("API key for %1 (not shown):").arg(AIVendors::displayName(vendor)));
        termios saved{};
        const bool quiet = tcgetattr(STDIN_FILENO, &saved) == 0;
        if (quiet) {
            termios silent = saved;
            silent.c_lflag &= ~tcflag_t(ECHO);
            tcsetattr(STDIN_FILENO, TCSANOW, &silent);
        }
        char buffer[4096];
        if (std::fgets(buffer, sizeof buffer, stdin)) {
            data = buffer;
        }
        if (quiet) {
            tcsetattr(STDIN_FILENO, TCSANOW, &saved);
        }
    } else {
        data = readStandardInput();
    }
    if (data.endsWith('\n')) {
        data.chop(1);
        if (data.endsWith('\r')) {
            data.chop(1);
        }
    }
    return QString::fromUtf8(data);
}

std::optional<AIVendor> parseVendor(const QString &text)
{
    return AIVendors::fromRawValue(text);
}

AICommand findCommand(const QString &titleOrInstruction)
{
    for (const AICommand &command : CommandStore::availableCommands(QString())) {
        if (command.title == titleOrInstruction) {
            return command;
        }
    }
    // As a one-off instruction typed into the popup's search field.
    return AICommand(QStringLiteral("💬 ") + titleOrInstruction, titleOrInstruction);
}

int runCommand(QCoreApplication &app, const QString &titleOrInstruction)
{
    const QString selectedText = QString::fromUtf8(readStandardInput());
    const AICommand command = findCommand(titleOrInstruction);

    VendorManager &manager = VendorManager::shared();
    const std::optional<AIVendor> vendor = manager.defaultVendor();
    if (!vendor || !manager.configuration(*vendor).hasAPIKey()) {
        writeErr(QStringLiteral(
            "No valid AI provider configured. Please configure an API key in settings."));
        return failure;
    }

    manager.sendMessage(composeCommandPrompt(command.prompt, selectedText))
        .then(&app,
              [&app](const QString &answer) {
                  writeOut(answer);
                  app.exit(success);
              })
        .onFailed(&app,
                  [&app](const APIError &error) {
                      writeErr(errorText(error));
                      app.exit(failure);
                  })
        .onFailed(&app, [&app](const std::exception &error) {
            writeErr(QStringLiteral("Error: ") + QString::fromUtf8(error.what()));
            app.exit(failure);
        });
    return app.exec();
}

int listModels(QCoreApplication &app, AIVendor vendor)
{
    VendorManager &manager = VendorManager::shared();
    manager.fetchModels(vendor).then(&app, [&app, &manager, vendor](const QStringList &models) {
        writeOut(models.join(u'\n') + u'\n');
        const QString problem = manager.modelListError(vendor);
        if (!problem.isEmpty()) {
            writeErr(problem);
        }
        app.exit(problem.isEmpty() ? success : failure);
    });
    return app.exec();
}

int keyCommand(const QString &action, AIVendor vendor)
{
    if (action == QLatin1String("set")) {
        const QString key = readKey(vendor);
        if (key.isEmpty()) {
            writeErr(QStringLiteral("No API key given on standard input; nothing was stored."));
            return failure;
        }
        if (!KeychainService::shared().storeAPIKey(key, vendor)) {
            return failure;
        }
        writeErr(QStringLiteral("API key for %1 stored.").arg(AIVendors::displayName(vendor)));
        return success;
    }
    if (!KeychainService::shared().deleteAPIKey(vendor)) {
        return failure;
    }
    writeErr(QStringLiteral("API key for %1 removed.").arg(AIVendors::displayName(vendor)));
    return success;
}

} // namespace

bool handles(const QStringList &arguments)
{
    for (const QString &argument : arguments) {
        if (commands.contains(argument) || argument == QLatin1String("-h") ||
            argument == QLatin1String("--help") || argument == QLatin1String("-v") ||
            argument == QLatin1String("--version")) {
            return true;
        }
    }
    return false;
}

int exec(QCoreApplication &app)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Vellumo: select text in any application, press one shortcut, and let "
                       "your AI provider rewrite it in place.\n\n") +
        QString::fromUtf8(commandHelp));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument(QStringLiteral("command"),
                                 QStringLiteral("run, models or key, as described above."),
                                 QStringLiteral("[command [arguments]]"));
    // Everything after the command belongs to it, even text that looks like
    // an option ("-1 sentence").
    parser.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsPositionalArguments);
    parser.process(app);

    const QStringList arguments = parser.positionalArguments();
    if (arguments.isEmpty()) {
        writeOut(parser.helpText());
        return success;
    }
    const QString command = arguments.first();
    if (command == QLatin1String("run")) {
        if (arguments.size() != 2) {
            return usage(QStringLiteral("run takes one argument: the command's title or an "
                                        "instruction, in quotes."));
        }
        return runCommand(app, arguments.at(1));
    }
    if (command == QLatin1String("models")) {
        const auto vendor = arguments.size() == 2 ? parseVendor(arguments.at(1)) : std::nullopt;
        if (!vendor) {
            return usage(QStringLiteral("models takes one provider: openai, anthropic or gemini."));
        }
        return listModels(app, *vendor);
    }
    if (command == QLatin1String("key")) {
        const bool known = arguments.size() == 3 && (arguments.at(1) == QLatin1String("set") ||
                                                     arguments.at(1) == QLatin1String("delete"));
        const auto vendor = known ? parseVendor(arguments.at(2)) : std::nullopt;
        if (!vendor) {
            return usage(QStringLiteral("Use 'key set PROVIDER' or 'key delete PROVIDER' with "
                                        "openai, anthropic or gemini; the key itself comes on "
                                        "standard input."));
        }
        return keyCommand(arguments.at(1), *vendor);
    }
    return usage(QStringLiteral("Unknown command \"%1\".").arg(command));
}

} // namespace CommandLine
