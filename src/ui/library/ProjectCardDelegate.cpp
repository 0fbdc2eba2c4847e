#include "ui/library/ProjectCardDelegate.h"

#include "ui/design/Theme.h"
#include "ui/library/ProjectListModel.h"

#include <QApplication>
#include <QLineEdit>
#include <QPainter>
#include <QPainterPath>

namespace corvantis {

namespace {

QRect cardRect(const QStyleOptionViewItem& option) {
    return option.rect.adjusted(Theme::space(2), Theme::space(2), -Theme::space(2), -Theme::space(2));
}

} // namespace

QSize ProjectCardDelegate::sizeHint(const QStyleOptionViewItem&, const QModelIndex&) const {
    return cardSize + QSize(Theme::space(4), Theme::space(4));
}

void ProjectCardDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                                const QModelIndex& index) const {
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    QRectF card = QRectF(cardRect(option)).adjusted(0.5, 0.5, -0.5, -0.5);
    bool selected = option.state.testFlag(QStyle::State_Selected);
    bool hovered = option.state.testFlag(QStyle::State_MouseOver);
    bool isNew = index.data(ProjectListModel::IsNewCardRole).toBool();
    const QPalette& palette = option.palette;

    QPainterPath path;
    path.addRoundedRect(card, Theme::radius, Theme::radius);
    if (isNew) {
        QPen dashed(selected ? Theme::accent() : Theme::cardBorder(), selected ? 2 : 1.5, Qt::DashLine);
        painter->setPen(dashed);
        painter->setBrush(hovered ? Theme::cardSurface() : Qt::transparent);
        painter->drawPath(path);

        QColor ink = hovered || selected ? Theme::accent() : Theme::secondaryText();
        painter->setPen(QPen(ink, 2, Qt::SolidLine, Qt::RoundCap));
        QPointF centre = card.center() - QPointF(0, Theme::space(4));
        painter->drawLine(centre - QPointF(10, 0), centre + QPointF(10, 0));
        painter->drawLine(centre - QPointF(0, 10), centre + QPointF(0, 10));
        QFont font = option.font;
        font.setWeight(QFont::DemiBold);
        painter->setFont(font);
        painter->drawText(card.adjusted(0, card.height() / 2 + Theme::space(2), 0, 0),
                          Qt::AlignHCenter | Qt::AlignTop, index.data(Qt::DisplayRole).toString());
        painter->restore();
        return;
    }

    painter->setPen(QPen(selected ? Theme::accent() : Theme::cardBorder(), selected ? 2 : 1));
    painter->setBrush(Theme::cardSurface());
    painter->drawPath(path);

    QRectF inner = card.adjusted(Theme::space(4), Theme::space(4), -Theme::space(4), -Theme::space(4));
    QFont title = option.font;
    title.setPointSizeF(title.pointSizeF() * 1.15);
    title.setWeight(QFont::DemiBold);
    painter->setFont(title);
    painter->setPen(palette.color(QPalette::Text));
    QFontMetricsF titleMetrics(title);
    QString name =
        titleMetrics.elidedText(index.data(Qt::DisplayRole).toString(), Qt::ElideRight, inner.width());
    painter->drawText(inner, Qt::AlignLeft | Qt::AlignTop, name);

    QFont small = option.font;
    painter->setFont(small);
    painter->setPen(Theme::secondaryText());
    QFontMetricsF smallMetrics(small);
    QRectF lower = inner.adjusted(0, 0, 0, 0);
    painter->drawText(lower, Qt::AlignLeft | Qt::AlignBottom,
                      smallMetrics.elidedText(index.data(ProjectListModel::ModifiedRole).toString(),
                                              Qt::ElideRight, inner.width()));
    QRectF summary = lower.adjusted(0, 0, 0, -smallMetrics.height() - Theme::space(1));
    painter->drawText(summary, Qt::AlignLeft | Qt::AlignBottom,
                      smallMetrics.elidedText(index.data(ProjectListModel::SummaryRole).toString(),
                                              Qt::ElideRight, inner.width()));
    painter->restore();
}

QWidget* ProjectCardDelegate::createEditor(QWidget* parent, const QStyleOptionViewItem&,
                                           const QModelIndex&) const {
    auto* editor = new QLineEdit(parent);
    editor->setFrame(true);
    QFont font = editor->font();
    font.setWeight(QFont::DemiBold);
    editor->setFont(font);
    return editor;
}

void ProjectCardDelegate::updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                                               const QModelIndex&) const {
    QRect card = cardRect(option);
    editor->setGeometry(card.left() + Theme::space(3), card.top() + Theme::space(3),
                        card.width() - Theme::space(6), editor->sizeHint().height());
}

} // namespace corvantis
