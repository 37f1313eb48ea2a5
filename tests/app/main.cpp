// The application object every model and widget needs, on the offscreen platform.

#include <QApplication>

#include <gtest/gtest.h>

#include "PrivateBus.hpp"

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    ::testing::InitGoogleTest(&argc, argv);
    QApplication application(argc, argv);
    const int status = RUN_ALL_TESTS();
    tessel::test::stopTestBus();
    return status;
}
