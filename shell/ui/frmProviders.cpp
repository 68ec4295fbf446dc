#include "shell/ui/frmProviders.h"

#include <QFrame>
#include <QKeyEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>

#include <algorithm>

namespace {
const QString NoCarrier = QStringLiteral("---");
const char* const MarkedProperty = "marked";
} // namespace

frmProviders::frmProviders(const CarrierWindowContent& content, QWidget* parent)
    : QWidget(parent, Qt::Popup | Qt::FramelessWindowHint) {
    setObjectName(QStringLiteral("frmProviders"));
    setAttribute(Qt::WA_DeleteOnClose);
    // The keys go to the window itself, never to the scrolling list, which would take the arrows.
    setFocusPolicy(Qt::StrongFocus);

    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto* frame = new QFrame(this);
    frame->setObjectName(QStringLiteral("fraProviders"));
    frame->setFrameStyle(QFrame::Box | QFrame::Plain);
    frame->setAutoFillBackground(true);
    frame->setBackgroundRole(QPalette::Base);
    outer->addWidget(frame);
    auto* layout = new QVBoxLayout(frame);
    layout->setContentsMargins(1, 1, 1, 1);
    layout->setSpacing(0);

    for (size_t i = 0; i < content.recent.size(); ++i) {
        const QString& text = content.recent[i];
        layout->addWidget(addLabel(frame, QStringLiteral("lblstdProvider%1").arg(i + 1),
                                   text.isEmpty() ? NoCarrier : text));
    }

    auto* separator = new QFrame(frame);
    separator->setObjectName(QStringLiteral("linProviders"));
    separator->setFrameStyle(QFrame::HLine | QFrame::Sunken);
    layout->addWidget(separator);
    m_separator = separator;

    m_scroll = new QScrollArea(frame);
    m_scroll->setObjectName(QStringLiteral("scrProviders"));
    m_scroll->setFrameShape(QFrame::NoFrame);
    m_scroll->setFocusPolicy(Qt::NoFocus);
    m_scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_scroll->setWidgetResizable(true);
    m_scroll->viewport()->setBackgroundRole(QPalette::Base);
    auto* list = new QWidget(m_scroll);
    list->setObjectName(QStringLiteral("lstProviders"));
    list->setBackgroundRole(QPalette::Base);
    auto* listLayout = new QVBoxLayout(list);
    listLayout->setContentsMargins(0, 0, 0, 0);
    listLayout->setSpacing(0);
    int number = 0;
    for (const Carrier& carrier : content.all) {
        QLabel* label = addLabel(list, QStringLiteral("lblProvider%1").arg(++number), carrier.Text());
        label->setProperty("tag", carrier.Key);
        listLayout->addWidget(label);
    }
    listLayout->addStretch();
    m_scroll->setWidget(list);
    layout->addWidget(m_scroll);
    m_listCount = number;
    // Without carriers in the macro book the window holds the recent ones only.
    m_separator->setVisible(m_listCount > 0);
    m_scroll->setVisible(m_listCount > 0);

    mark(-1);
    fitRows(MaxListRows);
}

QLabel* frmProviders::addLabel(QWidget* parent, const QString& name, const QString& text) {
    auto* label = new QLabel(parent);
    label->setObjectName(name);
    // A carrier's name is shown as it stands, never read as markup.
    label->setTextFormat(Qt::PlainText);
    label->setText(text);
    label->setContentsMargins(6, 2, 12, 2);
    label->setAutoFillBackground(true);
    label->setMouseTracking(true);
    label->installEventFilter(this);
    m_labels.push_back(label);
    return label;
}

void frmProviders::mark(int index, bool scrollTo) {
    m_marked = index;
    for (size_t i = 0; i < m_labels.size(); ++i) {
        QLabel* label = m_labels[i];
        const bool marked = int(i) == index;
        label->setProperty(MarkedProperty, marked);
        label->setBackgroundRole(marked ? QPalette::Highlight : QPalette::Base);
        label->setForegroundRole(marked ? QPalette::HighlightedText : QPalette::Text);
    }
    if (scrollTo && index >= int(m_labels.size()) - m_listCount)
        m_scroll->ensureWidgetVisible(m_labels[size_t(index)], 0, 0);
}

void frmProviders::take(int index) {
    const QString text = m_labels[size_t(index)]->text();
    // Closed first (deleted later, by the event loop), so that whatever the owner does with the choice
    // happens with the pop-up gone.
    close();
    Q_EMIT carrierChosen(text);
}

void frmProviders::fitRows(int rows) {
    m_listRows = std::clamp(rows, 1, std::max(1, m_listCount));
    if (m_listCount > 0) {
        const int rowHeight = m_labels.back()->sizeHint().height();
        m_scroll->verticalScrollBar()->setSingleStep(rowHeight);
        const bool scrolls = m_listCount > m_listRows;
        m_scroll->setVerticalScrollBarPolicy(scrolls ? Qt::ScrollBarAlwaysOn : Qt::ScrollBarAlwaysOff);
        m_scroll->setFixedHeight(m_listRows * rowHeight);
        m_scroll->setMinimumWidth(m_scroll->widget()->sizeHint().width() +
                                  (scrolls ? m_scroll->verticalScrollBar()->sizeHint().width() : 0));
    }
    adjustSize();
}

int frmProviders::pageStep() const {
    return m_listCount > 0 ? m_listRows : int(m_labels.size());
}

void frmProviders::popupUnder(QWidget* button) {
    setMinimumWidth(button->width());
    const QRect area = button->screen()->availableGeometry();
    const int top = button->mapToGlobal(QPoint(0, 0)).y();
    const int bottom = top + button->height();
    const int spaceBelow = area.bottom() + 1 - bottom;
    const int spaceAbove = top - area.top();

    fitRows(MaxListRows);
    const int rowHeight = m_labels.back()->sizeHint().height();
    const int fixedHeight = height() - (m_listCount > 0 ? m_scroll->height() : 0);
    const auto rowsIn = [&](int space) {
        return (space - fixedHeight) / std::max(1, rowHeight);
    };
    // Below the button when the whole window fits there, else above it; when neither side holds it, on
    // the side with more room, with the list shortened to that room.
    bool below = true;
    if (height() > spaceBelow) {
        below = height() > spaceAbove && spaceBelow >= spaceAbove;
        if (height() > spaceAbove)
            fitRows(rowsIn(below ? spaceBelow : spaceAbove));
    }
    QPoint at(button->mapToGlobal(QPoint(0, 0)).x(), below ? bottom : top - height());
    at.setX(std::clamp(at.x(), area.left(), std::max(area.left(), area.right() + 1 - width())));
    at.setY(std::clamp(at.y(), area.top(), std::max(area.top(), area.bottom() + 1 - height())));
    move(at);
    show();
    raise();
    activateWindow();
    setFocus(Qt::PopupFocusReason);
}

void frmProviders::keyPressEvent(QKeyEvent* event) {
    const int count = int(m_labels.size());
    // With no label marked, the keys that go down start above the first label and those that go up
    // below the last.
    const int down = m_marked < 0 ? -1 : m_marked;
    const int up = m_marked < 0 ? count : m_marked;
    switch (event->key()) {
    case Qt::Key_Down:
        mark(std::min(down + 1, count - 1));
        break;
    case Qt::Key_Up:
        mark(std::max(up - 1, 0));
        break;
    case Qt::Key_PageDown:
        mark(std::min(down + pageStep(), count - 1));
        break;
    case Qt::Key_PageUp:
        mark(std::max(up - pageStep(), 0));
        break;
    case Qt::Key_Home:
        mark(0);
        break;
    case Qt::Key_End:
        mark(count - 1);
        break;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (m_marked >= 0)
            take(m_marked);
        break;
    case Qt::Key_Escape:
        close();
        break;
    default:
        QWidget::keyPressEvent(event);
        return;
    }
    event->accept();
}

bool frmProviders::eventFilter(QObject* watched, QEvent* event) {
    const auto found = std::find(m_labels.begin(), m_labels.end(), watched);
    if (found == m_labels.end())
        return QWidget::eventFilter(watched, event);
    const int index = int(found - m_labels.begin());
    switch (event->type()) {
    case QEvent::MouseMove:
        // The label under the mouse is seen already; scrolling it whole into view would move another
        // label under the mouse.
        if (m_marked != index)
            mark(index, false);
        return true;
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick:
        return true;
    case QEvent::MouseButtonRelease: {
        const auto* mouse = static_cast<QMouseEvent*>(event);
        // A press that left the label before the release is no choice.
        if (mouse->button() == Qt::LeftButton && (*found)->rect().contains(mouse->position().toPoint()))
            take(index);
        return true;
    }
    default:
        return QWidget::eventFilter(watched, event);
    }
}
