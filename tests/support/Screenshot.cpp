#include "tests/support/Screenshot.h"

#include <QCoreApplication>
#include <QDir>
#include <QWidget>

void SaveScreenshot(QWidget* widget, const QString& name) {
    const QString dir = qEnvironmentVariable("MORVA_SCREENSHOT_DIR");
    if (dir.isEmpty())
        return;
    QCoreApplication::processEvents(); // let tool bars and lists lay themselves out anew
    QDir().mkpath(dir);
    widget->grab().save(QDir(dir).filePath(name + QStringLiteral(".png")));
}
