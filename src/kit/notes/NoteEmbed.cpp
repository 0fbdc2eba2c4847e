#include "kit/notes/NoteEmbed.h"

#include <QFileInfo>
#include <QHash>

namespace corvantis {

namespace {

const QString lightSuffix = QStringLiteral(".drawing.png");
const QString darkSuffix = QStringLiteral(".drawing-dark.png");
const QString sourceSuffix = QStringLiteral(".drawing.json");

// The drawing id of any of a drawing's three files.
std::optional<QString> drawingOf(const QString& file) {
    for (const QString& suffix : {lightSuffix, darkSuffix, sourceSuffix})
        if (file.endsWith(suffix) && file.size() > suffix.size())
            return file.left(file.size() - suffix.size());
    return std::nullopt;
}

QString extension(const QString& file) {
    const int dot = file.lastIndexOf('.');
    return dot < 0 ? QString() : file.mid(dot + 1).toLower();
}

} // namespace

const QRegularExpression& NoteEmbed::pattern() {
    static const QRegularExpression re(
        QStringLiteral(R"(^[ \t]*!\[([^\]\n]*)\]\(attachments/([^)\s/\\]+)\)[ \t]*$)"),
        QRegularExpression::MultilineOption);
    return re;
}

const QRegularExpression& NoteEmbed::reference() {
    static const QRegularExpression re(QStringLiteral(R"(\(attachments/([^)\s/\\]+)\))"));
    return re;
}

const QStringList& NoteEmbed::imageTypes() {
    static const QStringList types{"png", "jpg",  "jpeg", "gif",  "webp", "bmp",
                                   "tif", "tiff", "heic", "heif", "svg"};
    return types;
}

const QStringList& NoteEmbed::videoTypes() {
    static const QStringList types{"mp4", "m4v", "mov", "webm", "mkv", "avi", "ogv"};
    return types;
}

std::optional<NoteEmbed::Kind> NoteEmbed::kindOf(const QString& file) {
    if (file.endsWith(lightSuffix))
        return Kind::Drawing;
    const QString ext = extension(file);
    if (imageTypes().contains(ext))
        return Kind::Image;
    if (videoTypes().contains(ext))
        return Kind::Video;
    return std::nullopt;
}

std::optional<NoteEmbed> NoteEmbed::make(const QString& name, const QString& file) {
    const auto found = kindOf(file);
    if (!found)
        return std::nullopt;
    return NoteEmbed{*found, name, file};
}

NoteEmbed NoteEmbed::drawing(const QString& id) {
    return NoteEmbed{Kind::Drawing, QStringLiteral("Drawing"), id + lightSuffix};
}

QString NoteEmbed::markdown() const {
    return "![" + name + "](attachments/" + file + ")";
}

std::optional<QString> NoteEmbed::drawingID() const {
    if (kind != Kind::Drawing || !file.endsWith(lightSuffix))
        return std::nullopt;
    return file.left(file.size() - lightSuffix.size());
}

std::optional<QString> NoteEmbed::darkFile() const {
    const auto id = drawingID();
    return id ? std::optional<QString>(*id + darkSuffix) : std::nullopt;
}

std::optional<QString> NoteEmbed::sourceFile() const {
    const auto id = drawingID();
    return id ? std::optional<QString>(*id + sourceSuffix) : std::nullopt;
}

std::optional<NoteEmbed> NoteEmbed::embed(const QRegularExpressionMatch& match) {
    if (!match.hasMatch())
        return std::nullopt;
    return make(match.captured(1), match.captured(2));
}

QList<NoteEmbed> NoteEmbed::embeds(const QString& text) {
    QList<NoteEmbed> found;
    auto it = pattern().globalMatch(text);
    while (it.hasNext())
        if (const auto embed = NoteEmbed::embed(it.next()))
            found << *embed;
    return found;
}

QStringList NoteEmbed::family(const QString& file) {
    if (const auto id = drawingOf(file))
        return {*id + lightSuffix, *id + darkSuffix, *id + sourceSuffix};
    return {file};
}

QString NoteEmbed::owner(const QString& file) {
    if (const auto id = drawingOf(file))
        return *id + lightSuffix;
    return file;
}

QSet<QString> NoteEmbed::referenced(const QString& text) {
    QSet<QString> found;
    auto it = reference().globalMatch(text);
    while (it.hasNext())
        for (const QString& file : family(it.next().captured(1)))
            found.insert(file);
    return found;
}

QStringList NoteEmbed::unreferenced(const QStringList& files, const QStringList& bodies) {
    QSet<QString> named;
    for (const QString& body : bodies)
        named.unite(referenced(body));
    QStringList found;
    for (const QString& file : files)
        if (!file.startsWith('.') && !named.contains(file))
            found << file;
    return found;
}

QString NoteEmbed::removeEmbed(const QString& text, const QString& file) {
    auto it = pattern().globalMatch(text);
    while (it.hasNext()) {
        const auto match = it.next();
        if (match.captured(2) != file)
            continue;
        int start = match.capturedStart(0);
        int end = match.capturedEnd(0);
        if (end < text.size() && text[end] == '\n')
            ++end; // with its line end
        else if (start > 0 && text[start - 1] == '\n')
            --start; // the last line: the line end before it goes instead
        return text.left(start) + text.mid(end);
    }
    return text;
}

QString NoteEmbed::insertLine(const QString& text, const QString& markdown, std::optional<int> position,
                              int* caret) {
    const int at = std::clamp(position.value_or(int(text.size())), 0, int(text.size()));
    QString line = markdown;
    if (at > 0 && text[at - 1] != '\n')
        line.prepend('\n');
    const bool lineEndFollows = at < text.size() && text[at] == '\n';
    if (at < text.size() && !lineEndFollows)
        line.append('\n');
    if (caret)
        *caret = at + line.size() + (lineEndFollows ? 1 : 0);
    return text.left(at) + line + text.mid(at);
}

size_t qHash(const NoteEmbed& embed, size_t seed) {
    return qHashMulti(seed, int(embed.kind), embed.name, embed.file);
}

} // namespace corvantis
