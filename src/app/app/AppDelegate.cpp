#include "app/app/AppDelegate.h"

#include "app/app/AppModel.h"

#include <QCoro/QCoroTask>

namespace corvantis {

AppDelegate::AppDelegate(AppModel& app, QObject* parent)
    : QObject(parent)
    , m_app(app) {
}

AppDelegate::Reply AppDelegate::shouldTerminate() {
    if (m_isQuitting)
        return Reply::TerminateNow;
    m_isQuitting = true;
    m_app.prepareToQuit().then([this] { emit readyToTerminate(); });
    return Reply::TerminateLater;
}

} // namespace corvantis
