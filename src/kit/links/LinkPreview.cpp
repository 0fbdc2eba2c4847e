#include "kit/links/LinkPreview.h"

#include "kit/support/Json.h"

namespace corvantis {

QJsonObject LinkPreview::toJson() const {
    QJsonObject object{{"url", url}, {"site", site}, {"imageIsIcon", imageIsIcon}, {"isVideo", isVideo}};
    json::putOptional(object, "title", title);
    json::putOptional(object, "imageFile", imageFile);
    return object;
}

LinkPreview LinkPreview::fromJson(const QJsonObject& json) {
    LinkPreview preview;
    preview.url = json::requireString(json, "url");
    preview.title = json::optionalString(json, "title");
    preview.site = json::requireString(json, "site");
    preview.imageFile = json::optionalString(json, "imageFile");
    preview.imageIsIcon = json::requireBool(json, "imageIsIcon");
    preview.isVideo = json::requireBool(json, "isVideo");
    return preview;
}

} // namespace corvantis
