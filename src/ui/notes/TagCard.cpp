#include "ui/notes/TagCard.h"

#include "app/links/LinkPreviews.h"
#include "ui/design/Theme.h"
#include "ui/links/LinkPreviewCard.h"

#include <QGridLayout>
#include <QGuiApplication>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>

namespace corvantis {

namespace {

QLabel* label(const QString& text, QWidget* parent, bool secondary = false, bool bold = false) {
    auto* l = new QLabel(text, parent);
    l->setWordWrap(true);
    l->setTextFormat(Qt::PlainText);
    if (secondary) {
        QPalette p = l->palette();
        p.setColor(QPalette::WindowText, Theme::secondaryText());
        l->setPalette(p);
    }
    if (bold) {
        QFont f = l->font();
        f.setBold(true);
        f.setPointSizeF(f.pointSizeF() * 1.1);
        l->setFont(f);
    }
    return l;
}

void clear(QLayout* layout) {
    while (QLayoutItem* item = layout->takeAt(0)) {
        delete item->widget();
        if (QLayout* inner = item->layout())
            clear(inner);
        // A nested layout is its own item: deleted once, here.
        delete item;
    }
}

} // namespace

TagCard::TagCard(QWidget* parent)
    : QFrame(parent, Qt::Popup)
    , m_rows(new QVBoxLayout)
    , m_open(new QPushButton(QStringLiteral("Show in Graph"), this)) {
    setObjectName(QStringLiteral("tagCard"));
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    QPalette p = palette();
    p.setColor(QPalette::Window, Theme::cardSurface());
    setPalette(p);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Theme::space(4), Theme::space(3), Theme::space(4), Theme::space(3));
    layout->setSpacing(Theme::space(2));
    m_rows->setSpacing(Theme::space(1));
    layout->addLayout(m_rows);
    layout->addWidget(m_open, 0, Qt::AlignRight);
    connect(m_open, &QPushButton::clicked, this, [this] {
        hide();
        emit openRequested(m_tag);
    });
    setMinimumWidth(280);
    setMaximumWidth(420);
}

void TagCard::setTag(const NoteTag& tag) {
    m_tag = tag;
    m_showAll = false;
    rebuild();
}

void TagCard::popUp(const QPoint& at) {
    m_anchor = at;
    adjustSize();
    place();
    show();
}

void TagCard::place() {
    const QScreen* screen = QGuiApplication::screenAt(m_anchor);
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    const QRect room = screen ? screen->availableGeometry() : QRect(m_anchor, size());
    QPoint position = m_anchor + QPoint(0, Theme::space(3));
    if (position.y() + height() > room.bottom())
        position.setY(m_anchor.y() - Theme::space(3) - height());
    position.setX(std::min(position.x(), room.right() - width()));
    position.setX(std::max(position.x(), room.left()));
    position.setY(std::max(position.y(), room.top()));
    move(position);
}

void TagCard::setLinkPreviews(LinkPreviews* previews) {
    m_previews = previews;
    rebuild();
}

void TagCard::setShowsAll(bool all) {
    if (m_showAll == all)
        return;
    m_showAll = all;
    rebuild();
}

void TagCard::rebuild() {
    clear(m_rows);
    const NoteTag& tag = m_tag;
    m_open->setEnabled(!tag.missing);
    if (tag.missing) {
        QLabel* missing = label(QStringLiteral("Nothing with this ID"), this, false, true);
        QPalette p = missing->palette();
        p.setColor(QPalette::WindowText, Theme::danger());
        missing->setPalette(p);
        m_rows->addWidget(missing);
        m_rows->addWidget(label(tag.id, this, true));
        adjustSize();
        return;
    }
    auto* head = new QHBoxLayout;
    auto* swatch = new QLabel(this);
    swatch->setFixedSize(10, 10);
    swatch->setStyleSheet(
        QStringLiteral("background:%1;border-radius:5px;").arg(Theme::paletteColor(tag.color).name()));
    head->addWidget(swatch, 0, Qt::AlignVCenter);
    head->addWidget(label(tag.via.value_or(tag.title), this, false, true), 1);
    m_rows->addLayout(head);
    m_rows->addWidget(
        label(tag.kind == NoteTag::Kind::Rel ? "relationship · " + tag.type : tag.type, this, true));

    if (tag.members) {
        if (tag.members->isEmpty())
            m_rows->addWidget(label(QStringLiteral("Nothing connects this way."), this, true));
        const int shown =
            m_showAll ? int(tag.members->size()) : std::min<int>(shortList, tag.members->size());
        for (int i = 0; i < shown; ++i) {
            const NoteTag& member = tag.members->at(i);
            QString text = member.title.toHtmlEscaped();
            if (member.value)
                text += " · " + member.value->toHtmlEscaped();
            auto* row = new QLabel(
                QStringLiteral("<a href=\"corvantis-member:%1\">%2</a>").arg(member.id, text), this);
            row->setTextFormat(Qt::RichText);
            connect(row, &QLabel::linkActivated, this, [this](const QString& link) {
                hide();
                emit memberRequested(link.section(':', 1));
            });
            m_rows->addWidget(row);
        }
        if (tag.members->size() > shortList) {
            auto* toggle =
                new QPushButton(m_showAll ? QStringLiteral("Show less") : QStringLiteral("Show all"), this);
            toggle->setFlat(true);
            connect(toggle, &QPushButton::clicked, this, [this] { setShowsAll(!m_showAll); });
            m_rows->addWidget(toggle, 0, Qt::AlignLeft);
        }
    } else if (tag.property) {
        if (tag.problem)
            m_rows->addWidget(label(*tag.problem, this, true));
        else
            m_rows->addWidget(label(*tag.property + ": " + tag.value.value_or(QString()), this));
    } else {
        auto* grid = new QGridLayout;
        grid->setHorizontalSpacing(Theme::space(3));
        int row = 0;
        for (const auto& [name, value] : tag.details) {
            grid->addWidget(label(name, this, true), row, 0, Qt::AlignTop);
            grid->addWidget(label(value, this), row, 1);
            ++row;
        }
        m_rows->addLayout(grid);
    }
    if (m_previews) {
        LinkPreviewService* service = m_previews->service();
        for (const QString& link : tag.links) {
            auto* card = new LinkPreviewCard(service, QUrl(link), this);
            // A card that learns its title grows; the popup follows.
            connect(card, &LinkPreviewCard::loaded, this, [this] {
                adjustSize();
                if (isVisible())
                    place();
            });
            m_rows->addWidget(card);
        }
    }
    adjustSize();
}

} // namespace corvantis
