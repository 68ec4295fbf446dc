// Test main of the logic tests: a core application, no windows.

#include "tests/support/TestEnvironment.h"

#include <QCoreApplication>

#include <gmock/gmock.h>

int main(int argc, char** argv) {
    TestEnvironment environment;
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
