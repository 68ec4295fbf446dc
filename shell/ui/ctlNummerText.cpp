#include "shell/ui/ctlNummerText.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLineEdit>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QStyle>
#include <QWheelEvent>

#include <cmath>
#include <limits>

ctlNummerText::ctlNummerText(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("ctlNummerText"));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    m_text = new QLineEdit(QStringLiteral("0"), this);
    m_text->setObjectName(QStringLiteral("txtAnzeige"));
    m_text->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    m_text->installEventFilter(this);
    layout->addWidget(m_text, 1);
    setFocusProxy(m_text);

    // The bar has a range only so that it can move off its rest by one step either way; its handle fills
    // nearly all the room between the arrows, so that it reads as a spin control rather than a position.
    m_bar = new QScrollBar(Qt::Vertical, this);
    m_bar->setObjectName(QStringLiteral("VScrollAnzeige"));
    m_bar->setRange(RestPosition - 1, RestPosition + 1);
    m_bar->setSingleStep(1);
    m_bar->setPageStep(100);
    m_bar->setValue(RestPosition);
    m_bar->setFocusPolicy(Qt::NoFocus);
    m_bar->setFixedSize(style()->pixelMetric(QStyle::PM_ScrollBarExtent, nullptr, m_bar),
                        m_text->sizeHint().height());
    layout->addWidget(m_bar);

    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);

    connect(m_text, &QLineEdit::textChanged, this, [this] { txtAnzeige_Change(); });
    connect(m_bar, &QScrollBar::valueChanged, this, &ctlNummerText::VScrollAnzeige_Change);
}

void ctlNummerText::setMinCount(int minCount) {
    m_minCount = minCount;
    setValue(m_value);
}

void ctlNummerText::setMaxCount(int maxCount) {
    m_maxCount = maxCount;
    setValue(m_value);
}

void ctlNummerText::setValue(int value) {
    if (value < m_minCount)
        value = m_minCount;
    if (value > m_maxCount)
        value = m_maxCount;
    m_value = value;
    const QString text = QString::number(value);
    if (m_text->text() != text)
        m_text->setText(text);
}

double ctlNummerText::LeadingNumber(const QString& text) {
    qsizetype i = 0;
    const qsizetype n = text.size();
    const auto blank = [&](qsizetype at) {
        return at < n && (text[at] == u' ' || text[at] == u'\t');
    };
    while (blank(i))
        ++i;
    bool negative = false;
    if (i < n && (text[i] == u'-' || text[i] == u'+')) {
        negative = text[i] == u'-';
        ++i;
    }
    QString digits;
    bool point = false;
    for (; i < n; ++i) {
        const QChar c = text[i];
        if (c >= u'0' && c <= u'9')
            digits += c;
        else if (c == u'.' && !point) {
            point = true;
            digits += c;
        } else if (!blank(i))
            break;
    }
    bool ok = false;
    const double number = digits.toDouble(&ok);
    if (!ok)
        return 0;
    return negative ? -number : number;
}

void ctlNummerText::stepUp() {
    if (m_value < m_maxCount)
        setValue(m_value + 1);
    showStep();
}

void ctlNummerText::stepDown() {
    if (m_value > m_minCount)
        setValue(m_value - 1);
    showStep();
}

bool ctlNummerText::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_text && m_text->isEnabled()) {
        if (event->type() == QEvent::KeyPress) {
            const auto* key = static_cast<QKeyEvent*>(event);
            if (key->key() == Qt::Key_Up) {
                stepUp();
                return true;
            }
            if (key->key() == Qt::Key_Down) {
                stepDown();
                return true;
            }
        } else if (event->type() == QEvent::Wheel) {
            const int delta = static_cast<QWheelEvent*>(event)->angleDelta().y();
            if (delta > 0)
                stepUp();
            else if (delta < 0)
                stepDown();
            return delta != 0;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void ctlNummerText::txtAnzeige_Change() {
    // Limited before it is rounded, so that any number of digits stays within an int.
    double number = LeadingNumber(m_text->text());
    number = std::fmax(number, double(std::numeric_limits<int>::min()));
    number = std::fmin(number, double(std::numeric_limits<int>::max()));
    // To the nearest whole number, halves to the even one.
    setValue(int(std::nearbyint(number)));
    Q_EMIT Change(m_value);
}

void ctlNummerText::VScrollAnzeige_Change(int position) {
    if (position == RestPosition)
        return;
    // The upper arrow moves a vertical bar towards its minimum.
    if (position > RestPosition) {
        if (m_value > m_minCount)
            setValue(m_value - 1);
    } else {
        if (m_value < m_maxCount)
            setValue(m_value + 1);
    }
    {
        const QSignalBlocker quiet(m_bar);
        m_bar->setValue(RestPosition);
    }
    showStep();
}

void ctlNummerText::showStep() {
    m_text->setFocus(Qt::OtherFocusReason);
    const QString text = QString::number(m_value);
    if (m_text->text() != text)
        m_text->setText(text);
}
