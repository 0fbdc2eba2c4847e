#pragma once

#include <QWidget>

class QLabel;
class QProgressBar;
class QPushButton;

namespace corvantis {

class EmbeddingModelManager;

// Settings ▸ Search Model: the local embedding model, its size and licence, whether it is on this
// computer, its download with progress and Cancel, the failure sentence, and Delete.
class SearchModelPane : public QWidget {
    Q_OBJECT
public:
    explicit SearchModelPane(EmbeddingModelManager& models, QWidget* parent = nullptr);

private:
    void update();

    EmbeddingModelManager& m_models;
    QLabel* m_state;
    QProgressBar* m_progress;
    QLabel* m_failure;
    QPushButton* m_download;
    QPushButton* m_cancel;
    QPushButton* m_delete;
};

} // namespace corvantis
