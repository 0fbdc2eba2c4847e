// AppModel's travel operations: export, import, the program's own links and the example project.
#include "app/app/AppModel.h"
#include "app/app/Publisher.h"
#include "app/canvas/CanvasState.h"
#include "app/graph/ProjectSession.h"
#include "app/links/LinkPreviews.h"
#include "app/notes/NotesModel.h"
#include "kit/projects/ExampleProject.h"
#include "kit/store/GraphStoreError.h"
#include "kit/store/LadybugGraphStore.h"
#include "kit/support/AtomicFile.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrlQuery>

namespace corvantis {

namespace {

constexpr int importTimeoutMs = 120 * 1000;

const QString unusableLink = QStringLiteral("That link isn't a graph Corvantis can open.");
const QString notFetched = QStringLiteral("The graph couldn't be fetched.");

QString heldElsewhere(const Project& project) {
    return QStringLiteral("“%1” is open in another copy of Corvantis, so it can't be exported here. Quit "
                          "the other copy, then export it again.")
        .arg(project.name);
}

} // namespace

QString AppModel::exportFileName(const Project& project) {
    return project.name + QStringLiteral(".corvantis.json");
}

QNetworkAccessManager* AppModel::network() {
    if (!m_network)
        m_network = new QNetworkAccessManager(this);
    return m_network;
}

LinkPreviews& AppModel::linkPreviews() {
    if (!m_linkPreviews)
        m_linkPreviews = new LinkPreviews(*this);
    return *m_linkPreviews;
}

ProjectExport AppModel::exportOf(const Project& project) {
    if (m_session && m_session->project().id == project.id) {
        if (m_session->graphUnavailable() && m_session->project().isFinalized())
            throw GraphStoreError(GraphStoreError::Kind::Locked, heldElsewhere(project));
        // The notes as they stand: their debounced save is written first.
        m_session->notes().flush();
        ProjectExport exported = m_library.exportProject(m_session->project(), m_session->store().get());
        // The canvas as it stands, which its debounced save may not have written yet.
        if (m_session->project().isFinalized())
            exported.layout = m_session->graphCanvas().layout();
        return exported;
    }
    if (!project.isFinalized())
        return m_library.exportProject(project, nullptr);
    // A store of the export's own, let go when the export ends.
    std::unique_ptr<LadybugGraphStore> store;
    try {
        store = std::make_unique<LadybugGraphStore>(m_library.databasePath(project.id));
    } catch (const GraphStoreError& error) {
        if (error.kind() == GraphStoreError::Kind::Locked)
            throw GraphStoreError(error.kind(), heldElsewhere(project));
        throw;
    }
    return m_library.exportProject(project, store.get());
}

void AppModel::exportProject(const Project& project, const QString& path) {
    try {
        writeFileAtomically(path, exportOf(project).encode());
    } catch (const UserFacingError& error) {
        setNotice(error.message());
    }
}

Publisher& AppModel::publisher() {
    if (!m_publisher)
        m_publisher = new Publisher(m_settings.get(), network(), this);
    return *m_publisher;
}

void AppModel::publishToWeb(const Project& project) {
    if (publisher().isPublishing())
        return;
    QByteArray data;
    try {
        data = exportOf(project).encode();
    } catch (const UserFacingError& error) {
        setNotice(error.message());
        return;
    }
    publisher().publish(project, data, m_library);
}

void AppModel::importProject(const QString& path) {
    try {
        const Project project = m_library.importProject(readFile(path));
        refresh();
        open(project);
    } catch (const UserFacingError& error) {
        setNotice(error.message());
    }
}

void AppModel::createExample() {
    try {
        const Project project = m_library.importProject(ExampleProject::make());
        refresh();
        open(project);
    } catch (const UserFacingError& error) {
        setNotice(error.message());
    }
}

void AppModel::handle(const QUrl& url) {
    if (url.scheme() != QLatin1String("corvantis"))
        return;
    if (url.host() == QLatin1String("import")) {
        const QUrl target(QUrlQuery(url).queryItemValue(QStringLiteral("url"), QUrl::FullyDecoded),
                          QUrl::StrictMode);
        const QString scheme = target.scheme();
        if (target.isValid() && (scheme == QLatin1String("https") || scheme == QLatin1String("http"))) {
            const QString host = target.host().isEmpty() ? QStringLiteral("the graph") : target.host();
            setNotice(QStringLiteral("Bringing in %1…").arg(host));
            QNetworkRequest request(target);
            request.setTransferTimeout(importTimeoutMs);
            QNetworkReply* reply = network()->get(request);
            connect(reply, &QNetworkReply::finished, this, [this, reply] {
                reply->deleteLater();
                const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
                if (reply->error() != QNetworkReply::NoError && status == 0) {
                    setNotice(reply->errorString());
                } else if (status != 200) {
                    setNotice(notFetched);
                } else {
                    try {
                        const Project project = m_library.importProject(reply->readAll());
                        refresh();
                        open(project);
                        setNotice(std::nullopt);
                    } catch (const UserFacingError& error) {
                        setNotice(error.message());
                    }
                }
                emit linkHandled();
            });
            return;
        }
    }
    setNotice(unusableLink);
}

} // namespace corvantis
