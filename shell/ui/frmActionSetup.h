#pragma once

// The list of the programmed rules (lvListView): per rule its trigger, its action and its three
// parameters. The toolbar (Toolbar1, buttons "ADD", "DELETE", "EDIT", "COPY", "PASTE") and the menus do the
// same as the keys of the list: Insert is a new rule, Return edits the selected one, and so does a double
// click.
//
// The window shows the table it is given (Set_Values) and emits what the user wants; its owner changes the
// table, writes it at once, and gives it back to the window:
// - a new rule or an edit: editRequested with the rule's index (the count + 1 for a new rule);
// - Delete: deleteRequested with the selected rule, without asking;
// - Copy keeps the selected rule in the window; Paste asks for it to go in ahead of the selected rule, or at
//   the end when none is selected (pasteRequested).
// The help items open the page on the rules and the contents of the help. Its place and its columns' widths
// are its owner's to keep: it reports them as it closes (closing).

#include "automation/ActionRules.h"
#include "shell/base/ListItems.h"

#include <QMainWindow>

#include <optional>
#include <vector>

class Language;
class QToolBar;
class QTreeView;

class frmActionSetup : public QMainWindow {
    Q_OBJECT
public:
    // `language` gives the texts and outlives the window.
    explicit frmActionSetup(const Language& language, QWidget* parent = nullptr);

    // Fills the list from `rules` (entry 0 is no rule); the rule of the same index stays selected.
    void Set_Values(const ActionTable& rules);
    // The index of the selected rule; 0 for none.
    int selectedIndex() const;
    void selectIndex(int index);
    int count() const { return m_count; }
    // The rule Copy keeps, if any.
    const std::optional<ActionRule>& copied() const { return m_copied; }

    // The columns' widths in pixels; a 0 leaves a column as it is.
    std::vector<int> columnWidths() const;
    void setColumnWidths(const std::vector<int>& pixels);

    void Me_Set_Language();

Q_SIGNALS:
    void editRequested(int index);
    void deleteRequested(int index);
    void pasteRequested(const ActionRule& rule, int before);
    // The window is about to close.
    void closing();

public Q_SLOTS:
    void mnuActionNew_Click();
    void mnuActionEdit_Click();
    void mnuActionDelete_Click();
    void mnuEditCopy_Click();
    void mnuEditPaste_Click();
    void Toolbar1_ButtonClick(QAction* button);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    // lvListView_KeyDown: Insert and Return.
    bool lvListView_KeyDown(int key);
    void enableCommands();
    QAction* item(const char* name) const;

    const Language& m_language;
    ListItems m_rows;
    ActionTable m_shown;
    int m_count = 0;
    std::optional<ActionRule> m_copied;

    QTreeView* m_lvListView = nullptr;
    QToolBar* m_Toolbar1 = nullptr;
};
