#pragma once

// The OK and Cancel buttons of an entry window, in the desktop's order, named cmdOK and cmdCancel; OK is
// the default button. Their captions come with the window's language.

class QBoxLayout;
class QPushButton;
class QWidget;

struct OkCancelButtons {
    QPushButton* ok = nullptr;
    QPushButton* cancel = nullptr;
};

// Adds the row of buttons at the end of `layout` of `window`.
OkCancelButtons AddOkCancelButtons(QWidget* window, QBoxLayout* layout);
