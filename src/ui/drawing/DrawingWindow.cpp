#include "ui/drawing/DrawingWindow.h"

#include "ui/design/Theme.h"
#include "ui/drawing/TabletShareSheet.h"
#include "ui/drawing/WebDrawingPage.h"

#include <QCloseEvent>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSaveFile>
#include <QToolButton>
#include <QVBoxLayout>
#include <QWebEngineView>

namespace corvantis {

DrawingWindow::DrawingWindow(DrawingRequest request, const QString& attachments, bool inNote,
                             TabletBridge* bridge, QWidget* parent)
    : QWidget(parent, Qt::Window)
    , m_page(new WebDrawingPage(this))
    , m_document(new DrawingDocument(std::move(request), attachments, inNote, m_page, bridge, this))
    , m_share(new QToolButton(this))
    , m_message(new QLabel(this))
    , m_sheet(new TabletShareSheet(*m_document, this)) {
    setWindowTitle(QStringLiteral("Drawing"));
    setObjectName("drawingWindow");
    resize(1100, 760);
    m_share->setText(QStringLiteral("Draw on tablet"));
    m_share->setCheckable(true);
    m_share->setEnabled(bridge != nullptr);
    auto* done = new QPushButton(QStringLiteral("Done"), this);
    done->setDefault(true);

    auto* bar = new QHBoxLayout;
    bar->setContentsMargins(Theme::space(3), Theme::space(2), Theme::space(3), Theme::space(2));
    bar->addWidget(m_share);
    bar->addWidget(m_message, 1);
    bar->addWidget(done);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addLayout(bar);
    layout->addWidget(m_sheet);
    layout->addWidget(m_page->view(), 1);
    m_sheet->hide();

    connect(done, &QPushButton::clicked, this, &QWidget::close);
    connect(m_share, &QToolButton::toggled, this, [this](bool on) {
        m_sheet->setVisible(on);
        if (on)
            m_document->startTablet();
        else if (m_document->tabletState() != DrawingDocument::TabletState::Off)
            m_document->stopTablet();
    });
    connect(m_document, &DrawingDocument::tabletChanged, this, [this] {
        if (m_document->tabletState() == DrawingDocument::TabletState::Off && m_share->isChecked())
            m_share->setChecked(false);
    });
    connect(m_document, &DrawingDocument::failed, m_message, &QLabel::setText);
    connect(m_document, &DrawingDocument::exportRequested, this, [this](const QByteArray& png) {
        const QString path = QFileDialog::getSaveFileName(this, QStringLiteral("Export Drawing"),
                                                          QStringLiteral("Drawing.png"),
                                                          QStringLiteral("PNG picture (*.png)"));
        if (path.isEmpty())
            return;
        QSaveFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(png) != png.size() || !file.commit())
            m_message->setText(QStringLiteral("Couldn't export the drawing: %1").arg(file.errorString()));
    });
    connect(m_document, &DrawingDocument::finishedChanged, this, [this] {
        if (m_document->finished())
            close();
    });
    pushTheme();
}

DrawingWindow::~DrawingWindow() = default;

void DrawingWindow::pushTheme() {
    m_document->setTheme(Theme::isDark() ? QStringLiteral("dark") : QStringLiteral("light"));
}

void DrawingWindow::changeEvent(QEvent* event) {
    if (event->type() == QEvent::PaletteChange)
        pushTheme();
    QWidget::changeEvent(event);
}

void DrawingWindow::closeEvent(QCloseEvent* event) {
    if (m_document->finished()) {
        event->accept();
        return;
    }
    // Saves what is pending, then closes (finishedChanged comes back here).
    event->ignore();
    m_document->finish();
}

} // namespace corvantis
