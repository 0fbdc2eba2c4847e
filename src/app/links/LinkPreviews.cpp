#include "app/links/LinkPreviews.h"

#include "app/app/AppModel.h"
#include "app/graph/ProjectSession.h"
#include "kit/links/LinkPreviewService.h"

namespace corvantis {

LinkPreviews::LinkPreviews(AppModel& app)
    : QObject(&app)
    , m_app(app) {
}

LinkPreviewService* LinkPreviews::service() {
    ProjectSession* session = m_app.session();
    if (!session)
        return nullptr;
    if (!m_service || m_project != session->project().id) {
        // Cards of the project that closed may still await the old service: it goes once they are done.
        if (m_service)
            m_service->deleteLater();
        m_project = session->project().id;
        m_service =
            new LinkPreviewService(m_app.library().previewsFolder(m_project), m_app.network(), {}, this);
    }
    return m_service;
}

} // namespace corvantis
