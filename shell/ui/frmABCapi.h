#pragma once

// The answering machine's window: the list lvListABCAPI of the own numbers (MSNs) of configuration set 1
// with the machine's values (number, greeting, rings, recording time; the picture says whether the
// machine answers the number), and the remote inquiry: its PIN (txtCAPIAbPin) and the safer inquiry
// (chkABSafeInquiry) with what it does, and the warning lblPinWarning while the machine answers a number
// and the PIN is empty.
//
// Every change takes effect at once, as desktop preference windows do; there is nothing to confirm and
// cmdClose (or Escape, or the close button) only closes:
// - A double click, Return or cmdEdit on a row asks for that MSN's entry window (editRequested); its owner
//   writes what comes back and shows the list anew (the rows are the model listItems()).
// - Each edit of the PIN that the inquiry can take (digits only) is handed on trimmed (pinChanged). Any
//   other character is refused with a message under the box (lblPinError) and the PIN stays as it was;
//   the window does not close while the box holds such a PIN, so that no edit is silently dropped.
// - The safer inquiry is handed on at each click (safeInquiryChanged).

#include "config/ABCapiEntry.h"
#include "shell/base/ListItems.h"

#include <QDialog>

class Language;
class QCheckBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QTreeView;

class frmABCapi : public QDialog {
    Q_OBJECT
public:
    // `language` gives the texts and outlives the window.
    explicit frmABCapi(const Language& language, QWidget* parent = nullptr);

    // The rows of the list, as clsConfig::ABCAPI_DisplayInList fills them (the tag is the MSN's index).
    ListItems& listItems() { return m_rows; }
    // After the rows were filled anew: the row of MSN `index` is selected again (the first without one).
    void selectIndex(int index);
    // The MSN index of the selected row; 0 for none.
    int selectedIndex() const;

    // The values of the remote inquiry, and whether the machine answers any number (for the warning).
    void Set_Values(const QString& pin, bool safeInquiry, bool anyMachineOn);
    void setAnyMachineOn(bool on);
    // The PIN the window last accepted, trimmed.
    QString pin() const { return m_pin; }
    ABPinWarning warning() const;

    void Me_Set_Language();

Q_SIGNALS:
    void editRequested(int index);
    void pinChanged(const QString& pin);
    void safeInquiryChanged(bool on);

public Q_SLOTS:
    void cmdEdit_Click();
    void cmdClose_Click();

public:
    void done(int result) override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void txtCAPIAbPin_Change();
    void showWarning();

    const Language& m_language;
    ListItems m_rows;
    QString m_pin;
    bool m_anyMachineOn = false;

    QTreeView* m_lvListABCAPI = nullptr;
    QPushButton* m_cmdEdit = nullptr;
    QGroupBox* m_fraInquiry = nullptr;
    QLabel* m_lblPin = nullptr;
    QLineEdit* m_txtCAPIAbPin = nullptr;
    QLabel* m_lblPinError = nullptr;
    QCheckBox* m_chkABSafeInquiry = nullptr;
    QLabel* m_lblSafeInquiry = nullptr;
    QLabel* m_lblPinWarning = nullptr;
    QPushButton* m_cmdClose = nullptr;
};
