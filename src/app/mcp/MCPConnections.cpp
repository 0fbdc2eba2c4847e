#include "app/mcp/MCPConnections.h"

#include "kit/ai/AICommandLine.h"
#include "kit/ai/ClaudeCodeTransport.h"
#include "kit/ai/CodexTransport.h"
#include "kit/mcp/MCPBridge.h"
#include "kit/mcp/MCPClientConfig.h"
#include "kit/support/AtomicFile.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTimer>
#include <csignal>
#include <qcoro/qcorotimer.h>
#include <sys/stat.h>
#include <unistd.h>

namespace corvantis {

namespace {

// Paths compared as the file system sees them: links resolved where the file exists.
QString canonical(const QString& path) {
    const QString resolved = QFileInfo(path).canonicalFilePath();
    return resolved.isEmpty() ? QDir::cleanPath(QFileInfo(path).absoluteFilePath()) : resolved;
}

std::optional<QByteArray> readIfThere(const QString& path) {
    if (!QFileInfo::exists(path))
        return std::nullopt;
    return readFile(path);
}

QString lastLine(const QByteArray& text) {
    const QList<QByteArray> lines = text.trimmed().split('\n');
    return lines.isEmpty() ? QString() : AICommandLine::cleanLine(lines.last());
}

// The command of a desktop entry's main group.
QString execLine(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return {};
    bool inMain = false;
    while (!file.atEnd()) {
        const QString line = QString::fromUtf8(file.readLine()).trimmed();
        if (line.startsWith(QLatin1Char('[')))
            inMain = line == QLatin1String("[Desktop Entry]");
        else if (inMain && line.startsWith(QLatin1String("Exec=")))
            return line.mid(5);
    }
    return {};
}

} // namespace

MCPConnections::Places MCPConnections::defaultPlaces() {
    QStringList dirs;
    for (const QString& dir : QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation))
        dirs << dir;
    return Places{AICommandLine::home(), helper(), dirs, &MCPClientApps::processNames};
}

MCPConnections::MCPConnections(QObject* parent)
    : MCPConnections(defaultPlaces(), parent) {
}

MCPConnections::MCPConnections(Places places, QObject* parent)
    : QObject(parent)
    , m_places(std::move(places)) {
    refresh();
}

QString MCPConnections::helper() {
    return QDir(QCoreApplication::applicationDirPath()).filePath(MCPBridge::helperName());
}

QString MCPConnections::snippet() const {
    return MCPClientConfig::snippet(m_places.helper);
}

std::optional<QString> MCPConnections::error(MCPClientApp app) const {
    if (!m_errors.contains(app))
        return std::nullopt;
    return m_errors.value(app);
}

void MCPConnections::setError(MCPClientApp app, const std::optional<QString>& error) {
    if (error)
        m_errors.insert(app, *error);
    else
        m_errors.remove(app);
}

std::optional<QString> MCPConnections::configuredCommand(MCPClientApp app) const {
    const QString path = MCPClientApps::configPath(app, m_places.home);
    std::optional<QByteArray> data;
    try {
        data = readIfThere(path);
    } catch (const FileError&) {
        return std::nullopt;
    }
    if (!data)
        return std::nullopt;
    if (app == MCPClientApp::codex)
        return MCPClientConfig::codexCommand(QString::fromUtf8(*data));
    return app == MCPClientApp::claudeCode ? MCPClientConfig::claudeCodeCommand(*data)
                                           : MCPClientConfig::claudeDesktopCommand(*data);
}

void MCPConnections::refresh() {
    for (MCPClientApp app : MCPClientApps::all()) {
        const QString path = MCPClientApps::configPath(app, m_places.home);
        State state;
        if (!QFileInfo::exists(path) && !isInstalled(app)) {
            state = State::missing;
        } else if (auto command = configuredCommand(app)) {
            state = canonical(*command) == canonical(m_places.helper) ? State::on : State::moved;
        } else {
            state = State::off;
        }
        m_states.insert(app, state);
    }
    emit changed();
}

std::optional<QString> MCPConnections::desktopEntry(MCPClientApp app) const {
    for (const QString& dir : m_places.applicationDirs)
        for (const QString& name : MCPClientApps::desktopEntries(app))
            if (QFileInfo::exists(QDir(dir).filePath(name)))
                return QDir(dir).filePath(name);
    return std::nullopt;
}

bool MCPConnections::isInstalled(MCPClientApp app) const {
    if (desktopEntry(app))
        return true;
    switch (app) {
    case MCPClientApp::claudeDesktop:
        return !QStandardPaths::findExecutable(QStringLiteral("claude-desktop")).isEmpty();
    case MCPClientApp::claudeCode:
        return ClaudeCodeTransport::locate().has_value();
    case MCPClientApp::codex:
        return CodexTransport::locate().has_value();
    }
    return false;
}

QList<qint64> MCPConnections::running(MCPClientApp app) const {
    const QStringList names = m_places.processNames ? m_places.processNames(app) : QStringList();
    QList<qint64> found;
    if (names.isEmpty())
        return found;
    const QDir proc(QStringLiteral("/proc"));
    const uid_t me = getuid();
    for (const QString& entry : proc.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        bool isPid = false;
        const qint64 pid = entry.toLongLong(&isPid);
        if (!isPid || pid == QCoreApplication::applicationPid())
            continue;
        struct stat info;
        if (stat(QFile::encodeName(proc.filePath(entry)).constData(), &info) != 0 || info.st_uid != me)
            continue;
        QFile cmdline(proc.filePath(entry + QStringLiteral("/cmdline")));
        if (!cmdline.open(QIODevice::ReadOnly))
            continue;
        const QList<QByteArray> argv = cmdline.readAll().split('\0');
        const QString exe = QFileInfo(proc.filePath(entry + QStringLiteral("/exe"))).symLinkTarget();
        QStringList seen{QFileInfo(exe).fileName()};
        // A script's interpreter runs it: the script is the first or second word.
        for (int i = 0; i < 2 && i < argv.size(); ++i)
            seen << QFileInfo(QString::fromLocal8Bit(argv[i])).fileName();
        for (const QString& name : names) {
            if (seen.contains(name)) {
                found << pid;
                break;
            }
        }
    }
    return found;
}

QCoro::Task<> MCPConnections::set(MCPClientApp app, bool on) {
    m_working.insert(app);
    setError(app, std::nullopt);
    emit changed();
    const std::optional<QString> command = on ? std::optional<QString>(m_places.helper) : std::nullopt;
    const QString path = MCPClientApps::configPath(app, m_places.home);
    try {
        switch (app) {
        case MCPClientApp::claudeDesktop:
            writeFileAtomically(path, MCPClientConfig::claudeDesktop(readIfThere(path), command));
            break;
        case MCPClientApp::codex: {
            const std::optional<QByteArray> data = readIfThere(path);
            const QString text = data ? QString::fromUtf8(*data) : QString();
            writeFileAtomically(path, MCPClientConfig::codex(text, command).toUtf8());
            break;
        }
        case MCPClientApp::claudeCode: {
            const std::optional<QString> cli = ClaudeCodeTransport::locate();
            if (!cli)
                throw FileError(
                    QStringLiteral("Claude Code isn't installed, so Corvantis couldn't change its "
                                   "settings."));
            // The removal fails when there is nothing to remove; that is fine. (The argument lists are
            // built first: GCC can't take a braced list of literals inside a co_await.)
            const QString server = MCPBridge::serverName();
            QStringList removal{QString::fromLatin1("mcp"), QString::fromLatin1("remove"),
                                QString::fromLatin1("--scope"), QString::fromLatin1("user"), server};
            co_await AICommandLine::capture(*cli, removal);
            if (command) {
                QStringList addition{QString::fromLatin1("mcp"),
                                     QString::fromLatin1("add"),
                                     QString::fromLatin1("--scope"),
                                     QString::fromLatin1("user"),
                                     server,
                                     QString::fromLatin1("--"),
                                     *command};
                const AICommandLine::Captured added = co_await AICommandLine::capture(*cli, addition);
                if (added.exitCode != 0) {
                    const QString why = lastLine(added.standardError);
                    throw FileError(QStringLiteral("Claude Code couldn't add Corvantis") +
                                    (why.isEmpty() ? QStringLiteral(".") : QStringLiteral(": ") + why));
                }
            }
            break;
        }
        }
    } catch (const UserFacingError& failure) {
        setError(app, failure.message());
    }
    m_working.remove(app);
    refresh();
    if (!running(app).isEmpty()) {
        m_needsRestart.insert(app);
        emit changed();
    }
}

QCoro::Task<> MCPConnections::restart(MCPClientApp app) {
    const QList<qint64> pids = running(app);
    for (qint64 pid : pids)
        ::kill(pid_t(pid), SIGTERM);
    // Give them a few seconds to close their windows.
    QDeadlineTimer deadline(5000);
    while (!running(app).isEmpty() && !deadline.hasExpired()) {
        QTimer pause;
        pause.setSingleShot(true);
        pause.start(100);
        co_await pause;
    }
    if (!running(app).isEmpty()) {
        setError(app, MCPClientApps::title(app) +
                          QStringLiteral(" didn't quit. Quit it yourself and open it again."));
        emit changed();
        co_return;
    }
    if (auto entry = desktopEntry(app)) {
        QStringList words = QProcess::splitCommand(execLine(*entry));
        // Field codes (%f, %U, ...) stand for files to open; there are none.
        words.removeIf(
            [](const QString& word) { return word.size() == 2 && word.startsWith(QLatin1Char('%')); });
        if (!words.isEmpty()) {
            const QString program = words.takeFirst();
            QProcess::startDetached(program, words);
        }
    }
    m_needsRestart.remove(app);
    emit changed();
}

} // namespace corvantis
