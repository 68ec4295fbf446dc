#pragma once

// The whole-number control that several windows share: the box txtAnzeige with the two-way spin bar
// VScrollAnzeige beside it. The value stays between MinCount and MaxCount (0 and 10 unless set).
//
// - The box holds the value in decimal. Whatever is typed is read from its beginning as a number (blanks
//   skipped, a sign, digits, a decimal part; 0 when it starts with none), rounded to a whole number and
//   taken as the value, so text without digits gives 0 (or MinCount when that is higher) and a number
//   beyond the limits jumps back to the limit at once. Every change of the text raises Change.
// - The spin bar is a vertical scroll bar without a range of its own to show: it rests in its middle
//   (RestPosition). Its upper arrow raises the value by 1, the lower arrow lowers it by 1, neither past a
//   limit; the bar goes back to rest, and the box takes the focus and shows the value.
// - The Up and Down keys and the mouse wheel in the box step the value as the arrows do.
//
// Setting MinCount or MaxCount brings the value within the new limits. Enabled and the colours are
// QWidget's own (setEnabled, the palette), which the box and the bar follow.

#include <QWidget>

class QLineEdit;
class QScrollBar;

class ctlNummerText : public QWidget {
    Q_OBJECT
    Q_PROPERTY(int MinCount READ MinCount WRITE setMinCount)
    Q_PROPERTY(int MaxCount READ MaxCount WRITE setMaxCount)
    Q_PROPERTY(int Value READ Value WRITE setValue NOTIFY Change)
public:
    // Where the spin bar rests between two steps.
    static constexpr int RestPosition = 12500;

    explicit ctlNummerText(QWidget* parent = nullptr);

    int MinCount() const { return m_minCount; }
    void setMinCount(int minCount);
    int MaxCount() const { return m_maxCount; }
    void setMaxCount(int maxCount);

    int Value() const { return m_value; }
    // Takes `value`, raised to MinCount if below, then lowered to MaxCount if above; the box shows it,
    // which raises Change when its text changes.
    void setValue(int value);

    // The number at the beginning of `text` as it is read from the box: blanks skipped, an optional sign,
    // digits with an optional "." and decimals, blanks between the digits ignored; 0 when there is none.
    static double LeadingNumber(const QString& text);

Q_SIGNALS:
    // The text of the box changed: the value it stands for now.
    void Change(int value);

public Q_SLOTS:
    // One step up or down, as the spin bar's arrows do.
    void stepUp();
    void stepDown();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void txtAnzeige_Change();
    void VScrollAnzeige_Change(int position);
    // After a step: the box takes the focus and shows the value.
    void showStep();

    QLineEdit* m_text = nullptr;
    QScrollBar* m_bar = nullptr;
    int m_minCount = 0;
    int m_maxCount = 10;
    int m_value = 0;
};
