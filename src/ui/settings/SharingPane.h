#pragma once

#include <QWidget>

namespace corvantis {

class Publisher;

// Settings › Sharing: the sharing site, the username graphs are listed under, and the two keys.
class SharingPane : public QWidget {
    Q_OBJECT
public:
    SharingPane(Publisher& publisher, QWidget* parent = nullptr);

private:
    Publisher& m_publisher;
};

} // namespace corvantis
