#pragma once

#include <QByteArray>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QString>
#include <functional>

namespace corvantis::test {

// Runs the event loop until `done` holds or the time runs out; returns whether it held.
bool waitUntil(const std::function<bool()>& done, int timeoutMs = 10000);

// Reads a file of tests/fixtures by its path relative to that folder.
QByteArray fixture(const QString& relativePath);

} // namespace corvantis::test
