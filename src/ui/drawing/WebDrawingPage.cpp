#include "ui/drawing/WebDrawingPage.h"

#include "ui/drawing/BoardScheme.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QSet>
#include <QUrl>
#include <QVariantMap>
#include <QWebChannel>
#include <QWebEnginePage>
#include <QWebEngineProfile>
#include <QWebEngineUrlRequestJob>
#include <QWebEngineUrlSchemeHandler>
#include <QWebEngineView>

namespace corvantis {

namespace {

// Answers "corvantis-qd://board/…" with the file of the same path among the board's resources, and
// "qwebchannel.js" with Qt's own.
class BoardSchemeHandler : public QWebEngineUrlSchemeHandler {
public:
    using QWebEngineUrlSchemeHandler::QWebEngineUrlSchemeHandler;

    void requestStarted(QWebEngineUrlRequestJob* job) override {
        const QString path = job->requestUrl().path();
        const QString file = path == QLatin1String("/qwebchannel.js")
                                 ? QStringLiteral(":/qtwebchannel/qwebchannel.js")
                                 : QString::fromLatin1(boardResources) + path;
        auto* content = new QFile(file, job);
        if (path.contains(QLatin1String("..")) || !content->open(QIODevice::ReadOnly)) {
            job->fail(QWebEngineUrlRequestJob::UrlNotFound);
            return;
        }
        const QString extension = QFileInfo(file).suffix();
        const QByteArray type = extension == QLatin1String("html")    ? "text/html"
                                : extension == QLatin1String("js")    ? "text/javascript"
                                : extension == QLatin1String("css")   ? "text/css"
                                : extension == QLatin1String("woff2") ? "font/woff2"
                                                                      : "application/octet-stream";
        job->reply(type, content);
    }
};

BoardSchemeHandler* schemeHandler() {
    // One handler for the default profile, installed on first use.
    static BoardSchemeHandler* handler = [] {
        auto* made = new BoardSchemeHandler(QWebEngineProfile::defaultProfile());
        QWebEngineProfile::defaultProfile()->installUrlSchemeHandler("corvantis-qd", made);
        return made;
    }();
    return handler;
}

QString json(const QString& text) {
    return QString::fromUtf8(QJsonDocument::fromVariant(QVariantList{text}).toJson(QJsonDocument::Compact))
        .mid(1)
        .chopped(1);
}

} // namespace

// What the page calls: the web channel publishes it as "host".
class BoardHost : public QObject {
    Q_OBJECT
public:
    explicit BoardHost(WebDrawingPage* page)
        : QObject(page)
        , m_page(page) {}

    Q_INVOKABLE void ready() { emit m_page->ready(); }
    Q_INVOKABLE void changed() { emit m_page->changed(); }
    Q_INVOKABLE void toTablet(const QString& message) { emit m_page->toTablet(message); }
    Q_INVOKABLE void exportImage(const QString& base64) {
        emit m_page->exportImage(QByteArray::fromBase64(base64.toLatin1()));
    }
    Q_INVOKABLE void saved(int request, const QVariantMap& result) {
        if (!m_pending.remove(request))
            return;
        BoardSnapshot snapshot;
        snapshot.empty = result.value(QStringLiteral("empty")).toBool();
        snapshot.source = result.value(QStringLiteral("snapshot")).toString();
        snapshot.light = QByteArray::fromBase64(result.value(QStringLiteral("light")).toString().toLatin1());
        snapshot.dark = QByteArray::fromBase64(result.value(QStringLiteral("dark")).toString().toLatin1());
        emit m_page->saved(snapshot);
    }

    QSet<int> m_pending;

private:
    WebDrawingPage* m_page;
};

WebDrawingPage::WebDrawingPage(QWidget* parent)
    : DrawingPage(parent)
    , m_view(new QWebEngineView(parent))
    , m_host(new BoardHost(this)) {
    schemeHandler();
    auto* channel = new QWebChannel(this);
    channel->registerObject(QStringLiteral("host"), m_host);
    m_view->page()->setWebChannel(channel);
    m_view->page()->setBackgroundColor(Qt::transparent);
    connect(m_view->page(), &QWebEnginePage::renderProcessTerminated, this, [this] {
        if (!m_host->m_pending.isEmpty()) {
            m_host->m_pending.clear();
            emit saveFailed(QStringLiteral("the board stopped working."));
        }
    });
    m_view->load(QUrl(QStringLiteral("corvantis-qd://board/board.html")));
}

WebDrawingPage::~WebDrawingPage() = default;

void WebDrawingPage::call(const QString& function, const QStringList& jsonArguments) {
    m_view->page()->runJavaScript(QStringLiteral("window.corvantis && window.corvantis.%1(%2)")
                                      .arg(function, jsonArguments.join(QLatin1Char(','))));
}

void WebDrawingPage::load(const QString& source, const QString& theme) {
    call(QStringLiteral("load"), {json(source), json(theme)});
}

void WebDrawingPage::setTheme(const QString& theme) {
    call(QStringLiteral("setTheme"), {json(theme)});
}

void WebDrawingPage::fromTablet(const QString& message) {
    call(QStringLiteral("fromIpad"), {json(message)});
}

void WebDrawingPage::requestSave() {
    const int request = ++m_nextRequest;
    m_host->m_pending.insert(request);
    call(QStringLiteral("save"), {QString::number(request)});
}

void WebDrawingPage::run(const QString& script) {
    m_view->page()->runJavaScript(script);
}

} // namespace corvantis

#include "WebDrawingPage.moc"
