#pragma once

// Pictures of windows for people to look at: with MORVA_SCREENSHOT_DIR set, a window test saves the
// windows it drives there; without it nothing is written.

#include <QString>

class QWidget;

// Saves `widget` as "<name>.png" in MORVA_SCREENSHOT_DIR, after the pending layout has run.
void SaveScreenshot(QWidget* widget, const QString& name);
