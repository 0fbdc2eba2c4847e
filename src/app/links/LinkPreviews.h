#pragma once

#include <QObject>
#include <QUuid>

namespace corvantis {

class AppModel;
class LinkPreviewService;

// The link previews of the open project: one service over its "previews/" folder, made when a card
// first asks and made again when another project opens.
class LinkPreviews : public QObject {
    Q_OBJECT
public:
    explicit LinkPreviews(AppModel& app);

    // The open project's service, or null while no project is open.
    LinkPreviewService* service();

private:
    AppModel& m_app;
    QUuid m_project;
    LinkPreviewService* m_service = nullptr;
};

} // namespace corvantis
