// Test main of the window tests: a widget application on the offscreen platform.

#include "tests/support/TestEnvironment.h"

#include <QApplication>

#include <gmock/gmock.h>

int main(int argc, char** argv) {
    TestEnvironment environment;
    QApplication app(argc, argv);
    ::testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
