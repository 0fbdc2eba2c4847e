#include "kit/ladybug/Database.h"

#include "kit/ladybug/LadybugError.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>
#include <fcntl.h>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

namespace corvantis::ladybug {

namespace {

// The engine locks the database file with a POSIX record lock (fcntl F_SETLK, a write lock for a
// read-write database). Such locks never conflict inside one process, and closing any descriptor of
// the file drops all of the process's locks on it. So this process keeps its own list of the files
// it has open: a second opening here is refused before the engine sees it, and the probe below only
// ever runs on a file this process holds no lock on.
struct OpenFiles {
    std::mutex mutex;
    QSet<std::pair<quint64, quint64>> files; // device and inode
};

OpenFiles& openFiles() {
    static OpenFiles instance;
    return instance;
}

std::optional<std::pair<quint64, quint64>> fileIdentity(const QByteArray& path) {
    struct stat info {};
    if (::stat(path.constData(), &info) != 0)
        return std::nullopt;
    return std::pair<quint64, quint64>{static_cast<quint64>(info.st_dev), static_cast<quint64>(info.st_ino)};
}

// The process that holds a lock on the file which a write lock would conflict with, if any. The engine
// of 0.14.3 drops the text of a failed opening, so this is how a locked database is told apart.
std::optional<pid_t> lockHolder(const QByteArray& path) {
    int fd = ::open(path.constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return std::nullopt;
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = 0;
    lock.l_len = 0;
    int rc = ::fcntl(fd, F_GETLK, &lock);
    ::close(fd);
    if (rc == -1 || lock.l_type == F_UNLCK)
        return std::nullopt;
    return lock.l_pid;
}

QString initializationFailed(lbug_state state, const QString& detail) {
    QString message =
        QStringLiteral("Database initialization failed with error code: %1").arg(static_cast<int>(state));
    if (!detail.isEmpty())
        message += QStringLiteral(". ") + detail;
    return message;
}

// What can be told about a failed opening from outside the engine: whether another program holds the
// file's lock, or the path cannot be reached, with a sentence to add to the engine's code.
struct Diagnosis {
    LadybugError::Cause cause = LadybugError::Cause::Engine;
    QString detail;
};

Diagnosis diagnose(const QString& path, const QByteArray& nativePath) {
    if (auto holder = lockHolder(nativePath)) {
        QString who = *holder > 0 ? QStringLiteral("another program (process %1)").arg(*holder)
                                  : QStringLiteral("another program");
        return {LadybugError::Cause::Locked,
                QStringLiteral("Could not set lock on file %1: %2 has the database open.").arg(path, who)};
    }
    QFileInfo info(path);
    if (info.isDir())
        return {LadybugError::Cause::InputOutput,
                QStringLiteral("Database path cannot be a directory: %1").arg(path)};
    if (!info.dir().exists())
        return {LadybugError::Cause::InputOutput, QStringLiteral("The folder %1 does not exist.")
                                                      .arg(QDir::toNativeSeparators(info.absolutePath()))};
    const QByteArray folder = QFile::encodeName(info.absolutePath());
    if (::access(folder.constData(), W_OK | X_OK) != 0 ||
        (info.exists() && ::access(nativePath.constData(), R_OK | W_OK) != 0))
        return {LadybugError::Cause::InputOutput,
                QStringLiteral("This program may not write the database at %1.").arg(path)};
    return {};
}

} // namespace

std::shared_ptr<Database> Database::open(const QString& path, std::optional<SystemConfig> config) {
    const QByteArray nativePath = QFile::encodeName(path);
    auto& registry = openFiles();
    std::lock_guard guard(registry.mutex);

    if (auto identity = fileIdentity(nativePath); identity && registry.files.contains(*identity))
        throw LadybugError(
            LadybugError::Kind::DatabaseInitializationFailed,
            initializationFailed(LbugError, QStringLiteral("Could not set lock on file %1: this "
                                                           "program already has the database open.")
                                                .arg(path)),
            LadybugError::Cause::Locked);

    lbug_database database{};
    auto state = lbug_database_init(nativePath.constData(),
                                    (config ? *config : SystemConfig::defaults()).raw(), &database);
    if (state != LbugSuccess || database._database == nullptr) {
        const Diagnosis diagnosis = diagnose(path, nativePath);
        throw LadybugError(LadybugError::Kind::DatabaseInitializationFailed,
                           initializationFailed(state == LbugSuccess ? LbugError : state, diagnosis.detail),
                           diagnosis.cause);
    }

    auto identity = fileIdentity(nativePath);
    if (identity)
        registry.files.insert(*identity);
    return std::make_shared<Database>(Key{}, database, path, identity);
}

Database::Database(Key, lbug_database database, QString path, std::optional<std::pair<quint64, quint64>> file)
    : m_database(database)
    , m_path(std::move(path))
    , m_file(file) {
}

Database::~Database() {
    auto& registry = openFiles();
    std::lock_guard guard(registry.mutex);
    lbug_database_destroy(&m_database);
    if (m_file)
        registry.files.remove(*m_file);
}

QString Database::engineVersion() {
    char* text = lbug_get_version();
    QString version = QString::fromUtf8(text);
    lbug_destroy_string(text);
    return version;
}

} // namespace corvantis::ladybug
