#include "shell/ui/frmActionSetup.h"

#include "shell/base/Language.h"
#include "shell/ui/HelpWindow.h"

#include <QAction>
#include <QCloseEvent>
#include <QHeaderView>
#include <QKeyEvent>
#include <QMenu>
#include <QMenuBar>
#include <QStyle>
#include <QToolBar>
#include <QTreeView>

#include <algorithm>

namespace {
constexpr int ColumnCount = 5;

// A caption without its accelerator, for a tool tip: "&Delete" -> "Delete".
QString withoutAccelerator(QString text) {
    text.remove(QLatin1Char('&'));
    if (text.endsWith(QStringLiteral("...")))
        text.chop(3);
    return text;
}

// The menus' items by object name with their strings.
struct Caption {
    const char* name;
    int string;
};
constexpr Caption Captions[] = {
    {"mnuAction", 3296},     {"mnuActionNew", 3291},    {"mnuActionEdit", 3262}, {"mnuActionDelete", 3134},
    {"mnuActionQuit", 3282}, {"mnuEdit", 3297},         {"mnuEditCopy", 3292},   {"mnuEditPaste", 3710},
    {"mnuHelp", 3144},       {"mnuHelpAktionen", 3298}, {"mnuHelpInhalt", 3147},
};
// The toolbar's buttons by key, with the string of their text and tool tip.
constexpr Caption Buttons[] = {
    {"ADD", 3291}, {"DELETE", 3134}, {"EDIT", 3262}, {"COPY", 3292}, {"PASTE", 3710},
};
} // namespace

frmActionSetup::frmActionSetup(const Language& language, QWidget* parent)
    : QMainWindow(parent), m_language(language), m_rows(false) {
    setObjectName(QStringLiteral("frmActionSetup"));
    setContextMenuPolicy(Qt::PreventContextMenu);
    const auto add = [this](QMenu* menu, const char* name) {
        QAction* a = menu->addAction(QString());
        a->setObjectName(QString::fromUtf8(name));
        return a;
    };
    const auto menu = [this](const char* name) {
        QMenu* m = menuBar()->addMenu(QString());
        m->setObjectName(QString::fromUtf8(name));
        m->menuAction()->setObjectName(QString::fromUtf8(name));
        return m;
    };

    QMenu* action = menu("mnuAction");
    QAction* newItem = add(action, "mnuActionNew");
    connect(newItem, &QAction::triggered, this, &frmActionSetup::mnuActionNew_Click);
    connect(add(action, "mnuActionEdit"), &QAction::triggered, this, &frmActionSetup::mnuActionEdit_Click);
    connect(add(action, "mnuActionDelete"), &QAction::triggered, this,
            &frmActionSetup::mnuActionDelete_Click);
    action->addSeparator();
    QAction* quit = add(action, "mnuActionQuit");
    quit->setShortcut(QKeySequence::Close);
    connect(quit, &QAction::triggered, this, &QWidget::close);
    QMenu* edit = menu("mnuEdit");
    QAction* copy = add(edit, "mnuEditCopy");
    copy->setShortcut(QKeySequence::Copy);
    connect(copy, &QAction::triggered, this, &frmActionSetup::mnuEditCopy_Click);
    QAction* paste = add(edit, "mnuEditPaste");
    paste->setShortcut(QKeySequence::Paste);
    connect(paste, &QAction::triggered, this, &frmActionSetup::mnuEditPaste_Click);
    QMenu* help = menu("mnuHelp");
    QAction* helpActions = add(help, "mnuHelpAktionen");
    helpActions->setShortcut(QKeySequence::HelpContents);
    connect(helpActions, &QAction::triggered, this,
            [this] { HelpShowPage(this, m_language, QStringLiteral("actions")); });
    connect(add(help, "mnuHelpInhalt"), &QAction::triggered, this,
            [this] { HelpContents(this, m_language); });

    m_Toolbar1 = addToolBar(QStringLiteral("Toolbar1"));
    m_Toolbar1->setObjectName(QStringLiteral("Toolbar1"));
    m_Toolbar1->setMovable(false);
    m_Toolbar1->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    QStyle* st = style();
    // The desktop's icons; where its theme lacks one, a picture of the style that means the same, or the
    // text alone.
    const auto button = [this](const char* key, const char* theme, const QIcon& fallback) {
        QAction* b = m_Toolbar1->addAction(QIcon::fromTheme(QString::fromUtf8(theme), fallback), QString());
        b->setObjectName(QString::fromUtf8(key));
        b->setData(QString::fromUtf8(key));
    };
    button("ADD", "list-add", st->standardIcon(QStyle::SP_FileIcon));
    button("DELETE", "list-remove", st->standardIcon(QStyle::SP_TrashIcon));
    button("EDIT", "document-edit", st->standardIcon(QStyle::SP_FileDialogDetailedView));
    m_Toolbar1->addSeparator();
    button("COPY", "edit-copy", QIcon());
    button("PASTE", "edit-paste", QIcon());
    connect(m_Toolbar1, &QToolBar::actionTriggered, this, &frmActionSetup::Toolbar1_ButtonClick);

    m_lvListView = new QTreeView(this);
    m_lvListView->setObjectName(QStringLiteral("lvListView"));
    m_lvListView->setRootIsDecorated(false);
    m_lvListView->setAllColumnsShowFocus(true);
    m_lvListView->setUniformRowHeights(true);
    m_lvListView->setSelectionMode(QAbstractItemView::SingleSelection);
    m_lvListView->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_lvListView->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_lvListView->setModel(&m_rows);
    m_lvListView->installEventFilter(this);
    setCentralWidget(m_lvListView);
    connect(m_lvListView, &QTreeView::doubleClicked, this, [this](const QModelIndex& index) {
        if (index.isValid())
            Q_EMIT editRequested(index.row() + 1);
    });
    connect(m_lvListView->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this](const QModelIndex& current) {
                m_rows.Select(current.isValid() ? current.row() : -1);
                enableCommands();
            });

    Me_Set_Language();
    // Until widths are kept: the triggers and actions as wide as their longest text, the first parameter
    // wider than the others.
    int triggerWidth = 0;
    for (int status = 0; status <= 6; ++status)
        triggerWidth =
            std::max(triggerWidth, fontMetrics().horizontalAdvance(ActionTriggerLabel(m_language, status)));
    int actionWidth = 0;
    for (int typ = 0; typ <= 4; ++typ)
        actionWidth = std::max(actionWidth, fontMetrics().horizontalAdvance(ActionTypLabel(m_language, typ)));
    const int padding = fontMetrics().averageCharWidth() * 3;
    const int parameter = fontMetrics().averageCharWidth() * 20;
    setColumnWidths({triggerWidth + padding, actionWidth + padding, parameter * 3 / 2, parameter, parameter});
    enableCommands();
    resize(std::max(760, triggerWidth + actionWidth + parameter * 7 / 2 + 4 * padding), 360);
}

QAction* frmActionSetup::item(const char* name) const {
    return findChild<QAction*>(QString::fromUtf8(name));
}

void frmActionSetup::Me_Set_Language() {
    const Language& lang = m_language;
    setWindowTitle(withoutAccelerator(lang.LanguageString(3113)));
    const std::vector<int> widths = columnWidths();
    const QString parameter = lang.LanguageString(265);
    m_rows.SetColumns({{lang.LanguageString(263), QStringLiteral("Status"), 2400},
                       {lang.LanguageString(264), QStringLiteral("Typ"), 2400},
                       {parameter + QStringLiteral(" 1"), QStringLiteral("Command"), 3000},
                       {parameter + QStringLiteral(" 2"), QStringLiteral("Command2"), 1800},
                       {parameter + QStringLiteral(" 3"), QStringLiteral("Command3"), 1800}});
    for (const Caption& caption : Captions) {
        const QString text = lang.LanguageString(caption.string);
        if (QAction* a = item(caption.name))
            a->setText(text);
        if (auto* m = findChild<QMenu*>(QString::fromUtf8(caption.name)))
            m->setTitle(text);
    }
    for (const Caption& b : Buttons) {
        QAction* a = item(b.name);
        if (a) {
            a->setText(withoutAccelerator(lang.LanguageString(b.string)));
            a->setToolTip(withoutAccelerator(lang.LanguageString(b.string)));
        }
    }
    // The rows speak the new language too.
    const int selected = selectedIndex();
    if (!m_shown.empty())
        Set_Values(ActionTable(m_shown));
    selectIndex(selected);
    setColumnWidths(widths);
}

void frmActionSetup::Set_Values(const ActionTable& rules) {
    const int selected = selectedIndex();
    m_shown = rules;
    m_count = ActionCount(rules);
    m_rows.Clear();
    for (int n = 1; n <= m_count; ++n) {
        const ActionRule& rule = rules[std::size_t(n)];
        m_rows.Append({ActionTriggerLabel(m_language, rule.Status),
                       double(n),
                       {},
                       {ActionTypLabel(m_language, rule.Typ), rule.Command, rule.Command2, rule.Command3}});
    }
    selectIndex(std::min(selected, m_count));
    enableCommands();
}

int frmActionSetup::selectedIndex() const {
    const QModelIndex current = m_lvListView->currentIndex();
    return current.isValid() ? current.row() + 1 : 0;
}

void frmActionSetup::selectIndex(int index) {
    if (index >= 1 && index <= m_count)
        m_lvListView->setCurrentIndex(m_rows.index(index - 1, 0));
    else
        m_lvListView->setCurrentIndex(QModelIndex());
    enableCommands();
}

std::vector<int> frmActionSetup::columnWidths() const {
    std::vector<int> widths;
    for (int column = 0; column < ColumnCount; ++column)
        widths.push_back(m_lvListView->columnWidth(column));
    return widths;
}

void frmActionSetup::setColumnWidths(const std::vector<int>& pixels) {
    for (int column = 0; column < ColumnCount && column < int(pixels.size()); ++column)
        if (pixels[std::size_t(column)] > 0)
            m_lvListView->setColumnWidth(column, pixels[std::size_t(column)]);
}

void frmActionSetup::mnuActionNew_Click() {
    Q_EMIT editRequested(m_count + 1);
}

void frmActionSetup::mnuActionEdit_Click() {
    if (const int index = selectedIndex(); index > 0)
        Q_EMIT editRequested(index);
}

void frmActionSetup::mnuActionDelete_Click() {
    if (const int index = selectedIndex(); index > 0)
        Q_EMIT deleteRequested(index);
}

void frmActionSetup::mnuEditCopy_Click() {
    if (const int index = selectedIndex(); index > 0 && index < int(m_shown.size()))
        m_copied = m_shown[std::size_t(index)];
    enableCommands();
}

void frmActionSetup::mnuEditPaste_Click() {
    if (m_copied)
        Q_EMIT pasteRequested(*m_copied, selectedIndex());
}

void frmActionSetup::Toolbar1_ButtonClick(QAction* button) {
    const QString key = button->data().toString();
    if (key == QLatin1String("ADD"))
        mnuActionNew_Click();
    else if (key == QLatin1String("DELETE"))
        mnuActionDelete_Click();
    else if (key == QLatin1String("EDIT"))
        mnuActionEdit_Click();
    else if (key == QLatin1String("COPY"))
        mnuEditCopy_Click();
    else if (key == QLatin1String("PASTE"))
        mnuEditPaste_Click();
}

bool frmActionSetup::lvListView_KeyDown(int key) {
    switch (key) {
    case Qt::Key_Insert:
        mnuActionNew_Click();
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        mnuActionEdit_Click();
        return true;
    default:
        return false;
    }
}

bool frmActionSetup::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_lvListView && event->type() == QEvent::KeyPress &&
        lvListView_KeyDown(static_cast<QKeyEvent*>(event)->key()))
        return true;
    return QMainWindow::eventFilter(watched, event);
}

void frmActionSetup::closeEvent(QCloseEvent* event) {
    Q_EMIT closing();
    QMainWindow::closeEvent(event);
}

void frmActionSetup::enableCommands() {
    const bool selected = selectedIndex() > 0;
    for (const char* name : {"mnuActionEdit", "mnuActionDelete", "mnuEditCopy", "EDIT", "DELETE", "COPY"})
        if (QAction* a = item(name))
            a->setEnabled(selected);
    for (const char* name : {"mnuEditPaste", "PASTE"})
        if (QAction* a = item(name))
            a->setEnabled(m_copied.has_value());
}
