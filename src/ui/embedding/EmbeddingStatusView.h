#pragma once

#include <QPointer>
#include <QWidget>

class QLabel;
class QProgressBar;
class QToolButton;

namespace corvantis {

class AppModel;
class EmbeddingService;

// The small status of search by meaning in the project's toolbar: while an index works, its phase and
// how many of its texts are done; waiting for the model, a button that offers the download; a failure
// as a short word with its sentence. Hidden while both indexes are idle. While an index waits for the
// model and the person hasn't said "Not Now" (which is remembered), it asks inline whether to download it.
class EmbeddingStatusView : public QWidget {
    Q_OBJECT
public:
    explicit EmbeddingStatusView(AppModel& app, QWidget* parent = nullptr);

private:
    void follow();
    void update();

    AppModel& m_app;
    QPointer<EmbeddingService> m_embeddings;
    QPointer<EmbeddingService> m_titles;
    QLabel* m_text;
    QProgressBar* m_progress;
    QToolButton* m_download;
    QWidget* m_prompt;
};

} // namespace corvantis
