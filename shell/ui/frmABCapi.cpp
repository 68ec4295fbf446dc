#include "shell/ui/frmABCapi.h"

#include "shell/base/Language.h"

#include <QCheckBox>
#include <QEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QIdentityProxyModel>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStyle>
#include <QTreeView>
#include <QVBoxLayout>

namespace {

// The rows' pictures by their keys: "S1" the machine answers the number (a loudspeaker), "S0" it does not
// (a muted one).
class MachinePictures : public QIdentityProxyModel {
public:
    MachinePictures(const QStyle* style, QObject* parent) : QIdentityProxyModel(parent) {
        m_on = QIcon::fromTheme(QStringLiteral("audio-volume-high"),
                                style->standardIcon(QStyle::SP_MediaVolume));
        m_off = QIcon::fromTheme(QStringLiteral("audio-volume-muted"),
                                 style->standardIcon(QStyle::SP_MediaVolumeMuted));
    }
    QVariant data(const QModelIndex& index, int role) const override {
        if (role == Qt::DecorationRole && index.column() == 0) {
            const QString key = QIdentityProxyModel::data(index, ListItems::SmallIconRole).toString();
            if (key.isEmpty())
                return {};
            return key == QLatin1String("S1") ? m_on : m_off;
        }
        return QIdentityProxyModel::data(index, role);
    }

private:
    QIcon m_on;
    QIcon m_off;
};

} // namespace

frmABCapi::frmABCapi(const Language& language, QWidget* parent)
    : QDialog(parent), m_language(language), m_rows(true) {
    setObjectName(QStringLiteral("frmABCapi"));
    auto* layout = new QVBoxLayout(this);

    auto* top = new QHBoxLayout;
    m_lvListABCAPI = new QTreeView(this);
    m_lvListABCAPI->setObjectName(QStringLiteral("lvListABCAPI"));
    m_lvListABCAPI->setRootIsDecorated(false);
    m_lvListABCAPI->setAllColumnsShowFocus(true);
    m_lvListABCAPI->setUniformRowHeights(true);
    m_lvListABCAPI->setSelectionMode(QAbstractItemView::SingleSelection);
    m_lvListABCAPI->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_lvListABCAPI->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_lvListABCAPI->setModel(new MachinePictures(style(), this));
    static_cast<QIdentityProxyModel*>(m_lvListABCAPI->model())->setSourceModel(&m_rows);
    m_lvListABCAPI->installEventFilter(this);
    top->addWidget(m_lvListABCAPI, 1);
    auto* side = new QVBoxLayout;
    m_cmdEdit = new QPushButton(this);
    m_cmdEdit->setObjectName(QStringLiteral("cmdEdit"));
    m_cmdEdit->setAutoDefault(false);
    side->addWidget(m_cmdEdit);
    side->addStretch(1);
    top->addLayout(side);
    layout->addLayout(top, 1);

    m_fraInquiry = new QGroupBox(this);
    m_fraInquiry->setObjectName(QStringLiteral("fraInquiry"));
    auto* inquiry = new QGridLayout(m_fraInquiry);
    inquiry->setColumnStretch(2, 1);
    m_lblPin = new QLabel(m_fraInquiry);
    m_lblPin->setObjectName(QStringLiteral("lblPin"));
    m_txtCAPIAbPin = new QLineEdit(m_fraInquiry);
    m_txtCAPIAbPin->setObjectName(QStringLiteral("txtCAPIAbPin"));
    m_txtCAPIAbPin->setFixedWidth(m_txtCAPIAbPin->fontMetrics().horizontalAdvance(QStringLiteral("0")) * 12 +
                                  16);
    m_lblPin->setBuddy(m_txtCAPIAbPin);
    inquiry->addWidget(m_lblPin, 0, 0);
    inquiry->addWidget(m_txtCAPIAbPin, 0, 1);
    m_lblPinError = new QLabel(m_fraInquiry);
    m_lblPinError->setObjectName(QStringLiteral("lblPinError"));
    m_lblPinError->setWordWrap(true);
    {
        QPalette red = m_lblPinError->palette();
        red.setColor(QPalette::WindowText, QColor(200, 0, 0));
        m_lblPinError->setPalette(red);
    }
    m_lblPinError->setVisible(false);
    inquiry->addWidget(m_lblPinError, 1, 1, 1, 2);
    m_chkABSafeInquiry = new QCheckBox(m_fraInquiry);
    m_chkABSafeInquiry->setObjectName(QStringLiteral("chkABSafeInquiry"));
    inquiry->addWidget(m_chkABSafeInquiry, 2, 0, 1, 3);
    m_lblSafeInquiry = new QLabel(m_fraInquiry);
    m_lblSafeInquiry->setObjectName(QStringLiteral("lblSafeInquiry"));
    m_lblSafeInquiry->setWordWrap(true);
    // Under the check box's text, as its explanation. The indent is a spacing of the layout: a wrapped
    // label with margins of its own breaks its lines as though it had the full width, and cuts them off.
    auto* explanation = new QHBoxLayout;
    explanation->addSpacing(style()->pixelMetric(QStyle::PM_IndicatorWidth) +
                            style()->pixelMetric(QStyle::PM_CheckBoxLabelSpacing));
    explanation->addWidget(m_lblSafeInquiry, 1);
    inquiry->addLayout(explanation, 3, 0, 1, 3);
    layout->addWidget(m_fraInquiry);

    // The warning about an empty PIN, with the desktop's warning sign.
    auto* warning = new QHBoxLayout;
    auto* sign = new QLabel(this);
    sign->setObjectName(QStringLiteral("imgPinWarning"));
    const int iconSide = style()->pixelMetric(QStyle::PM_SmallIconSize) * 2;
    sign->setPixmap(style()->standardIcon(QStyle::SP_MessageBoxWarning).pixmap(iconSide, iconSide));
    sign->setAlignment(Qt::AlignTop);
    m_lblPinWarning = new QLabel(this);
    m_lblPinWarning->setObjectName(QStringLiteral("lblPinWarning"));
    m_lblPinWarning->setWordWrap(true);
    warning->addWidget(sign);
    warning->addWidget(m_lblPinWarning, 1);
    layout->addLayout(warning);
    // The sign goes and comes with the text.
    m_lblPinWarning->installEventFilter(this);
    sign->setVisible(false);
    m_lblPinWarning->setVisible(false);

    auto* bottom = new QHBoxLayout;
    bottom->addStretch(1);
    m_cmdClose = new QPushButton(this);
    m_cmdClose->setObjectName(QStringLiteral("cmdClose"));
    m_cmdClose->setAutoDefault(false);
    bottom->addWidget(m_cmdClose);
    layout->addLayout(bottom);

    connect(m_lvListABCAPI, &QTreeView::doubleClicked, this, [this](const QModelIndex& index) {
        if (index.isValid())
            Q_EMIT editRequested(int(m_rows.At(index.row()).Tag));
    });
    connect(m_lvListABCAPI->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this](const QModelIndex& current) {
                m_rows.Select(current.isValid() ? current.row() : -1);
                m_cmdEdit->setEnabled(current.isValid());
            });
    connect(&m_rows, &QAbstractItemModel::modelReset, this, [this] { m_cmdEdit->setEnabled(false); });
    connect(&m_rows, &QAbstractItemModel::rowsRemoved, this, [this] { m_cmdEdit->setEnabled(false); });
    connect(m_cmdEdit, &QPushButton::clicked, this, &frmABCapi::cmdEdit_Click);
    connect(m_cmdClose, &QPushButton::clicked, this, &frmABCapi::cmdClose_Click);
    connect(m_txtCAPIAbPin, &QLineEdit::textChanged, this, [this] { txtCAPIAbPin_Change(); });
    connect(m_chkABSafeInquiry, &QCheckBox::toggled, this, [this](bool on) {
        showWarning();
        Q_EMIT safeInquiryChanged(on);
    });
    m_cmdEdit->setEnabled(false);

    Me_Set_Language();
    resize(620, 460);
}

void frmABCapi::Me_Set_Language() {
    const Language& lang = m_language;
    setWindowTitle(lang.LanguageString(5003));
    m_rows.SetColumns({{lang.LanguageString(5020), QStringLiteral("MSN"), 1800},
                       {lang.LanguageString(5025), QStringLiteral("Ansage"), 3000},
                       {lang.LanguageString(3260), QStringLiteral("Rufe"), 900},
                       {lang.LanguageString(3261), QStringLiteral("Zeit"), 1200}});
    QHeaderView* header = m_lvListABCAPI->header();
    header->setStretchLastSection(false);
    header->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    header->setSectionResizeMode(1, QHeaderView::Stretch);
    header->setSectionResizeMode(2, QHeaderView::ResizeToContents);
    header->setSectionResizeMode(3, QHeaderView::ResizeToContents);
    m_cmdEdit->setText(lang.LanguageString(3262));
    m_fraInquiry->setTitle(lang.LanguageString(3263));
    m_lblPin->setText(lang.LanguageString(3264));
    m_lblPinError->setText(lang.LanguageString(3265));
    m_chkABSafeInquiry->setText(lang.LanguageString(3266));
    m_lblSafeInquiry->setText(lang.LanguageString(3267) + QLatin1Char(' ') + lang.LanguageString(3283));
    m_cmdClose->setText(lang.LanguageString(3282));
    showWarning();
}

void frmABCapi::selectIndex(int index) {
    int row = 0;
    for (int r = 0; r < m_rows.Count(); ++r)
        if (int(m_rows.At(r).Tag) == index)
            row = r;
    if (m_rows.Count() == 0)
        return;
    m_lvListABCAPI->setCurrentIndex(m_lvListABCAPI->model()->index(row, 0));
}

int frmABCapi::selectedIndex() const {
    const QModelIndex current = m_lvListABCAPI->currentIndex();
    return current.isValid() ? int(m_rows.At(current.row()).Tag) : 0;
}

void frmABCapi::Set_Values(const QString& pin, bool safeInquiry, bool anyMachineOn) {
    m_pin = pin.trimmed();
    m_anyMachineOn = anyMachineOn;
    {
        const QSignalBlocker quiet(m_txtCAPIAbPin);
        m_txtCAPIAbPin->setText(m_pin);
    }
    m_lblPinError->setVisible(false);
    {
        const QSignalBlocker quiet(m_chkABSafeInquiry);
        m_chkABSafeInquiry->setChecked(safeInquiry);
    }
    showWarning();
}

void frmABCapi::setAnyMachineOn(bool on) {
    m_anyMachineOn = on;
    showWarning();
}

ABPinWarning frmABCapi::warning() const {
    return ABPinWarningFor(m_anyMachineOn, m_pin, m_chkABSafeInquiry->isChecked());
}

void frmABCapi::cmdEdit_Click() {
    if (const int index = selectedIndex(); index > 0)
        Q_EMIT editRequested(index);
}

void frmABCapi::cmdClose_Click() {
    close();
}

void frmABCapi::done(int result) {
    // A PIN that was refused is still in the box: the user fixes it or takes it back before leaving.
    if (!ABPinValid(m_txtCAPIAbPin->text())) {
        m_lblPinError->setVisible(true);
        m_txtCAPIAbPin->setFocus(Qt::OtherFocusReason);
        m_txtCAPIAbPin->selectAll();
        return;
    }
    QDialog::done(result);
}

bool frmABCapi::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_lvListABCAPI && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Return || key == Qt::Key_Enter) {
            cmdEdit_Click();
            return true;
        }
    } else if (watched == m_lblPinWarning &&
               (event->type() == QEvent::ShowToParent || event->type() == QEvent::HideToParent)) {
        if (auto* sign = findChild<QLabel*>(QStringLiteral("imgPinWarning")))
            sign->setVisible(event->type() == QEvent::ShowToParent);
    }
    return QDialog::eventFilter(watched, event);
}

void frmABCapi::txtCAPIAbPin_Change() {
    const QString text = m_txtCAPIAbPin->text();
    const bool valid = ABPinValid(text);
    m_lblPinError->setVisible(!valid);
    if (!valid)
        return;
    const QString pin = text.trimmed();
    if (pin == m_pin)
        return;
    m_pin = pin;
    showWarning();
    Q_EMIT pinChanged(pin);
}

void frmABCapi::showWarning() {
    const ABPinWarning now = warning();
    if (now != ABPinWarning::None)
        m_lblPinWarning->setText(m_language.LanguageString(now == ABPinWarning::Open ? 3268 : 3269));
    m_lblPinWarning->setVisible(now != ABPinWarning::None);
}
