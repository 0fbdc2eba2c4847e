// The main of every test program in this layer: a QApplication that runs offscreen, then GoogleTest.
#include "ui/drawing/BoardScheme.h"

#include <QApplication>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    ::testing::InitGoogleTest(&argc, argv);
    // The embedded browser's sandbox needs namespaces a CI container may not grant; the tests load only
    // the program's own pages.
    if (qEnvironmentVariableIsEmpty("QTWEBENGINE_DISABLE_SANDBOX"))
        qputenv("QTWEBENGINE_DISABLE_SANDBOX", "1");
    corvantis::prepareBoardPages();
    QApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
