#pragma once

#include "kit/ladybug/SystemConfig.h"

#include <QString>
#include <lbug.h>
#include <memory>
#include <optional>
#include <utility>

namespace corvantis::ladybug {

// An open database file. The engine holds an operating-system lock on the file for as long as this
// object lives; connections keep it alive.
class Database {
    struct Key {};

public:
    // Opens (or creates) the database at `path`; without a config, the engine's defaults. Fails with
    // LadybugError (databaseInitializationFailed). When another process holds the database, or this
    // process already has it open, the message says that the file's lock could not be set and the
    // cause is Locked; a path that cannot be reached gives the cause InputOutput.
    static std::shared_ptr<Database> open(const QString& path, std::optional<SystemConfig> config = {});

    Database(Key, lbug_database database, QString path, std::optional<std::pair<quint64, quint64>> file);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    lbug_database* handle() { return &m_database; }
    const QString& path() const { return m_path; }

    // The engine's version text.
    static QString engineVersion();

private:
    lbug_database m_database;
    QString m_path;
    std::optional<std::pair<quint64, quint64>> m_file; // device and inode, for the list of open files
};

} // namespace corvantis::ladybug
