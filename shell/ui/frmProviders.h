#pragma once

// The carrier window: a small pop-up under the main window's button cmdProvider from which the user picks
// the carrier of the next calls. On top the last four carriers chosen, the newest first
// (lblstdProvider1 to lblstdProvider4, "---" for a slot not yet used); below a line, every carrier of the
// macro book in file order (lblProvider1 to lblProviderN, the carrier's key in the label's property
// "tag"), in a list that scrolls when it is longer than the screen allows.
//
// The label under the mouse, or the one moved to with the keys, is marked in the highlight colours (and
// has the property "marked"). A click or Enter takes a label: the window emits its text and closes.
// Escape, or a click anywhere else, closes it without a choice. The window deletes itself when it closes;
// its owner connects carrierChosen (ShowCarrier, RememberCarrier) and opens it with popupUnder.

#include "numbers/modVorwahlen.h"

#include <QWidget>

#include <vector>

class QLabel;
class QScrollArea;

class frmProviders : public QWidget {
    Q_OBJECT
public:
    // The list shows at most this many carriers at once; more scroll.
    static constexpr int MaxListRows = 16;

    // `content` is what modVorwahlen::FillCarrierWindow gives at the moment of opening. With a parent the
    // window is also deleted with it (it stays a window of its own).
    explicit frmProviders(const CarrierWindowContent& content, QWidget* parent = nullptr);

    // Shows the window with its top-left corner at the bottom-left corner of `button`, on the button's
    // screen: above the button when there is no room below, the list shortened when neither has room.
    void popupUnder(QWidget* button);

Q_SIGNALS:
    // The user took a label: its text, a carrier's display text or "---" for none.
    void carrierChosen(const QString& text);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QLabel* addLabel(QWidget* parent, const QString& name, const QString& text);
    // Marks the label at `index` of m_labels (-1: none); with `scrollTo`, scrolls the list so that the
    // label is seen whole.
    void mark(int index, bool scrollTo = true);
    // Takes the label at `index`: closes the window and emits its text.
    void take(int index);
    // Lets the list show `rows` carriers at once and fits the window's size to its labels.
    void fitRows(int rows);
    // How many labels a page key moves: the carriers the list shows at once.
    int pageStep() const;

    std::vector<QLabel*> m_labels; // the four recent carriers, then the list
    int m_marked = -1;
    int m_listCount = 0;
    int m_listRows = 0;
    QScrollArea* m_scroll = nullptr;
    QWidget* m_separator = nullptr;
};
