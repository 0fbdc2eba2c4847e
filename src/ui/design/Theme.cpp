#include "ui/design/Theme.h"

#include <QApplication>
#include <QPalette>
#include <QProxyStyle>
#include <QStyle>
#include <QStyleFactory>
#include <QStyleOption>
#include <array>

namespace corvantis::Theme {

namespace {

struct Hue {
    const char* name;
    const char* light;
    const char* dark;
};

constexpr std::array<Hue, 8> hues{{
    {"iris", "#5B5BD6", "#8583F0"},
    {"peach", "#E5804F", "#F2A07A"},
    {"mint", "#2FA886", "#5CCFAE"},
    {"sky", "#2E8FD9", "#62B3F0"},
    {"rose", "#D94C72", "#F07A98"},
    {"lime", "#6EA82F", "#97CB5A"},
    {"orchid", "#A855C9", "#C984E3"},
    {"slate", "#64748B", "#94A3B8"},
}};

QPalette lightPalette() {
    QPalette p;
    p.setColor(QPalette::Window, QColor("#F6F6F8"));
    p.setColor(QPalette::WindowText, QColor("#1C1C22"));
    p.setColor(QPalette::Base, QColor("#FFFFFF"));
    p.setColor(QPalette::AlternateBase, QColor("#F0F0F4"));
    p.setColor(QPalette::Text, QColor("#1C1C22"));
    p.setColor(QPalette::Button, QColor("#FFFFFF"));
    p.setColor(QPalette::ButtonText, QColor("#1C1C22"));
    p.setColor(QPalette::PlaceholderText, QColor("#6B6B76"));
    p.setColor(QPalette::Highlight, QColor("#5B5BD6"));
    p.setColor(QPalette::HighlightedText, QColor("#FFFFFF"));
    p.setColor(QPalette::ToolTipBase, QColor("#1C1C22"));
    p.setColor(QPalette::ToolTipText, QColor("#FFFFFF"));
    p.setColor(QPalette::Link, QColor("#4646C0"));
    p.setColor(QPalette::Mid, QColor("#DCDCE2"));
    p.setColor(QPalette::Disabled, QPalette::Text, QColor("#9A9AA4"));
    p.setColor(QPalette::Disabled, QPalette::ButtonText, QColor("#9A9AA4"));
    p.setColor(QPalette::Disabled, QPalette::WindowText, QColor("#9A9AA4"));
    return p;
}

QPalette darkPalette() {
    QPalette p;
    p.setColor(QPalette::Window, QColor("#1B1B20"));
    p.setColor(QPalette::WindowText, QColor("#ECECF1"));
    p.setColor(QPalette::Base, QColor("#24242B"));
    p.setColor(QPalette::AlternateBase, QColor("#2B2B33"));
    p.setColor(QPalette::Text, QColor("#ECECF1"));
    p.setColor(QPalette::Button, QColor("#2B2B33"));
    p.setColor(QPalette::ButtonText, QColor("#ECECF1"));
    p.setColor(QPalette::PlaceholderText, QColor("#9A9AA8"));
    p.setColor(QPalette::Highlight, QColor("#8583F0"));
    p.setColor(QPalette::HighlightedText, QColor("#101014"));
    p.setColor(QPalette::ToolTipBase, QColor("#ECECF1"));
    p.setColor(QPalette::ToolTipText, QColor("#1B1B20"));
    p.setColor(QPalette::Link, QColor("#A3A1F5"));
    p.setColor(QPalette::Mid, QColor("#3A3A44"));
    p.setColor(QPalette::Disabled, QPalette::Text, QColor("#6E6E7A"));
    p.setColor(QPalette::Disabled, QPalette::ButtonText, QColor("#6E6E7A"));
    p.setColor(QPalette::Disabled, QPalette::WindowText, QColor("#6E6E7A"));
    return p;
}

// Fusion outlines check boxes and radio buttons with the window colour made darker, which vanishes on
// a dark window. Under a dark palette the indicator is drawn as if on a lighter window, so that its
// outline comes out a mid grey; nothing else about it changes.
class IndicatorStyle : public QProxyStyle {
public:
    using QProxyStyle::QProxyStyle;

    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override {
        const bool indicator = element == PE_IndicatorCheckBox || element == PE_IndicatorRadioButton;
        const auto* button = qstyleoption_cast<const QStyleOptionButton*>(option);
        if (!indicator || !button || option->palette.color(QPalette::Window).lightness() >= 128) {
            QProxyStyle::drawPrimitive(element, option, painter, widget);
            return;
        }
        QStyleOptionButton lighter(*button);
        lighter.palette.setColor(QPalette::Window, QColor("#A4A4B4"));
        QProxyStyle::drawPrimitive(element, &lighter, painter, widget);
    }
};

bool systemPrefersDark() {
    // Qt 6.4 has no colour-scheme hint; the platform palette's window colour tells the same.
    QPalette system = QApplication::style()->standardPalette();
    return system.color(QPalette::Window).lightness() < 128;
}

} // namespace

void apply(QApplication& app, Appearance appearance) {
    if (QStyle* fusion = QStyleFactory::create("Fusion"))
        app.setStyle(new IndicatorStyle(fusion));
    bool dark = appearance == Appearance::Dark || (appearance == Appearance::System && systemPrefersDark());
    app.setPalette(dark ? darkPalette() : lightPalette());
}

bool isDark() {
    return QApplication::palette().color(QPalette::Window).lightness() < 128;
}

QColor paletteColor(const QString& name) {
    bool dark = isDark();
    for (const Hue& hue : hues)
        if (name == QLatin1String(hue.name))
            return QColor(dark ? hue.dark : hue.light);
    return QColor(dark ? hues.back().dark : hues.back().light);
}

QColor accent() {
    return QApplication::palette().color(QPalette::Highlight);
}

QColor secondaryText() {
    return QApplication::palette().color(QPalette::PlaceholderText);
}

QColor cardSurface() {
    return QApplication::palette().color(QPalette::Base);
}

QColor cardBorder() {
    return QApplication::palette().color(QPalette::Mid);
}

QColor danger() {
    return isDark() ? QColor("#F07A7A") : QColor("#C8323C");
}

} // namespace corvantis::Theme
