// SPDX-License-Identifier: GPL-3.0-or-later
#include "CommandLine.h"

#include "AICommand.h"
#include "APIError.h"
#include "ApplicationService.h"
#include "CommandStore.h"
#include "Console.h"
#include "KeychainService.h"
#include "VendorManager.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <csignal>
#include <optional>
#include <termios.h>
#include <unistd.h>

namespace CommandLine {

namespace {

const QStringList commands{QStringLiteral("run"), QStringLiteral("models"), QStringLiteral("key"),
                           QStringLiteral("popup")};

const char *const commandHelp =
    "Without a command, Vellumo starts on the desktop. With one, it runs without any window:\n"
    "\n"
    "  run [--keep-input] \"TITLE OR INSTRUCTION\"\n"
    "                              Reads the selected text from standard input, runs the\n"
    "                              command with exactly that title (or, when no title\n"
    "                              matches, the argument as a one-off instruction) through\n"
    "                              the default provider, and prints the answer exactly as\n"
    "                              received. With --keep-input a failure prints the input\n"
    "                              unchanged instead (for editor filters).\n"
    "  models PROVIDER             Prints the models offered for PROVIDER, one a line: the\n"
    "                              built-in ones, then those the provider lists today.\n"
    "  key set PROVIDER            Stores the API key read from standard input (never from\n"
    "                              an argument, which would land in the shell's history).\n"
    "  key delete PROVIDER         Removes the stored API key.\n"
    "  popup                       Asks the running Vellumo to read the selection and open\n"
    "                              its popup beside it, as its shortcut does: bind it to a\n"
    "                              key in the desktop's own keyboard settings where the\n"
    "                              shortcut cannot be grabbed.\n"
    "\n"
    "PROVIDER is openai, anthropic or gemini.\n"
    "\n"
    "On the desktop, --verbose also prints the selected text and the answers, which\n"
    "the desktop session may keep in its journal; without it they are never printed.\n"
    "Standard output carries only the answer or the model ids; every other line goes to\n"
    "standard error. Exit status: 0 on success, 1 when the command failed (the reason on\n"
    "standard error), 2 for a usage error.";

void writeOut(const QString &text)
{
    Console::printText(text);
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

// The terminal as it was before the hidden prompt, for the signal handler.
termios savedTerminal{};

void restoreTerminalAndDie(int signal)
{
    tcsetattr(STDIN_FILENO, TCSANOW, &savedTerminal);
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, "\n", 1);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

// One line from the terminal without echo, as long as it is: the terminal's
// own line editing stops at 4095 characters, so it is switched off and done
// here (Backspace, Ctrl+U). Ctrl+C leaves the terminal as it was.
QByteArray readHiddenLine()
{
    QByteArray line;
    if (tcgetattr(STDIN_FILENO, &savedTerminal) != 0) {
        return readStandardInput();
    }
    termios raw = savedTerminal;
    raw.c_lflag &= ~tcflag_t(ECHO | ICANON);
    raw.c_cc[VMIN] = 1;
    raw.c_cc[VTIME] = 0;
    struct sigaction restore = {};
    restore.sa_handler = restoreTerminalAndDie;
    sigemptyset(&restore.sa_mask);
    const int signals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
    struct sigaction previous[4] = {};
    for (int i = 0; i < 4; ++i) {
        sigaction(signals[i], &restore, &previous[i]);
    }
    tcsetattr(STDIN_FILENO, TCSANOW, &raw);
    for (;;) {
        char c = 0;
        if (::read(STDIN_FILENO, &c, 1) != 1 || c == '\n' || c == '\r') {
            break;
        }
        if (c == char(savedTerminal.c_cc[VERASE]) || c == '\x7f' || c == '\b') {
            // A whole UTF-8 character: continuation bytes, then its lead.
            while (!line.isEmpty() && (uchar(line.back()) & 0xC0) == 0x80) {
                line.chop(1);
            }
            line.chop(1);
        } else if (c == char(savedTerminal.c_cc[VKILL])) {
            line.clear();
        } else if (c == char(savedTerminal.c_cc[VEOF])) {
            if (line.isEmpty()) {
                break;
            }
        } else {
            line.append(c);
        }
    }
    tcsetattr(STDIN_FILENO, TCSANOW, &savedTerminal);
    for (int i = 0; i < 4; ++i) {
        sigaction(signals[i], &previous[i], nullptr);
    }
    writeErr(QString()); // the line break the hidden Return did not show
    return line;
}

// The key from a terminal without echoing it, or from a pipe as sent minus
// one line ending.
QString readKey(AIVendor vendor)
{
    QByteArray data;
    if (isatty(STDIN_FILENO)) {
        writeErr(QStringLiteral("API key for %1 (not shown):").arg(AIVendors::displayName(vendor)));
        data = readHiddenLine();
    } else {
        data = readStandardInput();
        if (data.endsWith('\n')) {
            data.chop(1);
            if (data.endsWith('\r')) {
                data.chop(1);
            }
        }
    }
    return QString::fromUtf8(data);
}

// Runs the event loop until finish is called, also when it is called before
// the loop starts (a request that fails at once).
class Outcome {
public:
    explicit Outcome(QCoreApplication &app) : m_app(app) {}
    void finish(int code)
    {
        m_code = code;
        m_app.exit(code);
    }
    int wait() { return m_code ? *m_code : m_app.exec(); }

private:
    QCoreApplication &m_app;
    std::optional<int> m_code;
};

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

int runCommand(QCoreApplication &app, const QString &titleOrInstruction, bool keepInput)
{
    const QByteArray input = readStandardInput();
    const QString selectedText = QString::fromUtf8(input);
    const AICommand command = findCommand(titleOrInstruction);
    const auto fail = [&input, keepInput](const QString &why) {
        if (keepInput) {
            writeOut(input);
        }
        writeErr(why);
        return failure;
    };

    if (!KeychainService::shared().refreshPresenceNow()) {
        // The key store's line has said why; nothing was sent.
        return fail(QStringLiteral("Nothing was sent: the API keys cannot be read."));
    }
    VendorManager &manager = VendorManager::shared();
    const std::optional<AIVendor> vendor = manager.defaultVendor();
    if (!vendor || !manager.configuration(*vendor).hasAPIKey()) {
        return fail(QStringLiteral(
            "No valid AI provider configured. Please configure an API key in settings."));
    }

    Outcome outcome(app);
    manager.sendMessage(composeCommandPrompt(command.prompt, selectedText))
        .then(&app, [&outcome, fail](const QFuture<QString> &done) {
            QString answer;
            try {
                answer = done.result(); // rethrows the failure of the call
            } catch (...) {
                outcome.finish(fail(errorText(std::current_exception())));
                return;
            }
            writeOut(answer);
            outcome.finish(success);
        });
    return outcome.wait();
}

int listModels(QCoreApplication &app, AIVendor vendor)
{
    VendorManager &manager = VendorManager::shared();
    Outcome outcome(app);
    manager.fetchModels(vendor).then(&app, [&outcome, &manager, vendor](const QStringList &models) {
        writeOut(models.join(u'\n') + u'\n');
        const QString problem = manager.modelListError(vendor);
        if (!problem.isEmpty()) {
            writeErr(problem);
        }
        outcome.finish(problem.isEmpty() ? success : failure);
    });
    return outcome.wait();
}

int keyCommand(const QString &action, AIVendor vendor)
{
    if (action == QLatin1String("set")) {
        const QString key = readKey(vendor);
        if (key.isEmpty()) {
            writeErr(QStringLiteral("No API key given on standard input; nothing was stored."));
            return failure;
        }
        if (!KeychainService::isAcceptableKey(key)) {
            writeErr(QStringLiteral("The API key holds a control character (a line break, a tab "
                                    "or another invisible one); nothing was stored. A key is "
                                    "one line of visible characters."));
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
                                 QStringLiteral("run, models, key or popup, as described above."),
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
    const QString &command = arguments.first();
    if (command == QLatin1String("run")) {
        const bool keepInput = arguments.value(1) == QLatin1String("--keep-input");
        if (arguments.size() != (keepInput ? 3 : 2)) {
            return usage(QStringLiteral("run takes one argument: the command's title or an "
                                        "instruction, in quotes (after --keep-input, if given)."));
        }
        return runCommand(app, arguments.last(), keepInput);
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
    if (command == QLatin1String("popup")) {
        if (arguments.size() != 1) {
            return usage(QStringLiteral("popup takes no arguments."));
        }
        const QString problem = ApplicationService::ask(QStringLiteral("popup"));
        if (!problem.isEmpty()) {
            writeErr(QStringLiteral("No popup: %1.").arg(problem));
            return failure;
        }
        return success;
    }
    return usage(QStringLiteral("Unknown command \"%1\".").arg(command));
}

} // namespace CommandLine
