// The main of every test program in this layer: a QApplication that runs offscreen, then GoogleTest.
#include "ui/drawing/BoardScheme.h"

#include <QApplication>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    ::testing::InitGoogleTest(&argc, argv);
    corvantis::prepareBoardPages();
    QApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
