#include "ui/drawing/TabletShareSheet.h"

#include "app/drawing/DrawingDocument.h"
#include "kit/tablet/QrCode.h"
#include "ui/design/Theme.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QVBoxLayout>

namespace corvantis {

namespace {

// Paints a QR code, dark modules on white with a quiet zone, whatever the appearance: cameras read it
// best that way.
class CodeView : public QWidget {
public:
    explicit CodeView(QWidget* parent)
        : QWidget(parent) {
        setFixedSize(196, 196);
    }
    void setText(const QString& text) {
        m_code = text.isEmpty() ? std::nullopt : tablet::qrCode(text);
        update();
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.fillRect(rect(), Qt::white);
        if (!m_code)
            return;
        const int modules = m_code->size + 8; // four modules of quiet zone on each side
        const double unit = double(std::min(width(), height())) / modules;
        painter.setPen(Qt::NoPen);
        painter.setBrush(Qt::black);
        for (int y = 0; y < m_code->size; ++y)
            for (int x = 0; x < m_code->size; ++x)
                if (m_code->at(x, y))
                    painter.drawRect(QRectF((x + 4) * unit, (y + 4) * unit, unit, unit));
    }

private:
    std::optional<tablet::QrCode> m_code;
};

} // namespace

TabletShareSheet::TabletShareSheet(DrawingDocument& document, QWidget* parent)
    : QWidget(parent)
    , m_document(document)
    , m_code(new CodeView(this))
    , m_heading(new QLabel(QStringLiteral("A code to open this drawing on your tablet"), this))
    , m_steps(new QLabel(this))
    , m_address(new QLabel(this))
    , m_fallback(new QLabel(this))
    , m_devices(new QLabel(this))
    , m_failure(new QLabel(this))
    , m_stop(new QPushButton(QStringLiteral("Stop Sharing"), this))
    , m_retry(new QPushButton(QStringLiteral("Try Again"), this)) {
    setObjectName("tabletShare");
    QFont heading = m_heading->font();
    heading.setBold(true);
    m_heading->setFont(heading);
    m_steps->setText(
        QStringLiteral("1. Put your tablet on the same Wi-Fi as this computer.\n"
                       "2. Open the Camera and point it at the code.\n"
                       "3. Tap the link: the drawing opens in the tablet's browser, ready for a pen."));
    m_steps->setWordWrap(true);
    for (QLabel* label : {m_address, m_fallback})
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_failure->setWordWrap(true);
    m_failure->setObjectName("failure");

    auto* text = new QVBoxLayout;
    text->setSpacing(Theme::space(2));
    text->addWidget(m_heading);
    text->addWidget(m_steps);
    text->addSpacing(Theme::space(2));
    text->addWidget(new QLabel(QStringLiteral("Or type this address into the tablet's browser"), this));
    text->addWidget(m_address);
    text->addWidget(m_fallback);
    text->addWidget(new QLabel(QStringLiteral("Scan again to add another tablet."), this));
    text->addWidget(new QLabel(
        QStringLiteral("Draw with a pen; what you draw lands here and in the note. Fingers pan and zoom."),
        this));
    text->addStretch();
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_devices);
    buttons->addStretch();
    buttons->addWidget(m_retry);
    buttons->addWidget(m_stop);
    text->addLayout(buttons);

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(Theme::space(4), Theme::space(4), Theme::space(4), Theme::space(4));
    layout->setSpacing(Theme::space(4));
    layout->addWidget(m_code, 0, Qt::AlignTop);
    layout->addLayout(text, 1);
    auto* overlay = new QVBoxLayout;
    overlay->addWidget(m_failure);
    text->insertLayout(0, overlay);

    connect(m_stop, &QPushButton::clicked, this, [this] { m_document.stopTablet(); });
    connect(m_retry, &QPushButton::clicked, this, [this] { m_document.startTablet(); });
    connect(&m_document, &DrawingDocument::tabletChanged, this, &TabletShareSheet::sync);
    sync();
}

void TabletShareSheet::sync() {
    const auto state = m_document.tabletState();
    const bool sharing = state == DrawingDocument::TabletState::Sharing;
    const auto address = m_document.tabletAddress();
    static_cast<CodeView*>(m_code)->setText(sharing ? address.url : QString());
    m_address->setText(sharing ? address.url : QString());
    m_fallback->setVisible(sharing && address.url != address.direct);
    m_fallback->setText(QStringLiteral("If it doesn't open, try ") + address.direct);
    const int devices = m_document.tabletDevices();
    m_devices->setText(!sharing       ? QString()
                       : devices == 0 ? QStringLiteral("Ready on this computer")
                       : devices == 1 ? QStringLiteral("Tablet connected")
                                      : QString::number(devices) + QStringLiteral(" tablets connected"));
    m_failure->setVisible(state == DrawingDocument::TabletState::Failed);
    m_failure->setText(m_document.tabletFailure());
    m_stop->setVisible(sharing);
    m_retry->setVisible(state == DrawingDocument::TabletState::Failed);
}

} // namespace corvantis
