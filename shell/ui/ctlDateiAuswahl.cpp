#include "shell/ui/ctlDateiAuswahl.h"

#include "shell/base/modPathModify.h"

#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QIcon>
#include <QLineEdit>
#include <QRegularExpression>
#include <QStyle>
#include <QToolButton>

namespace {

// The browse dialogs of the desktop.
QString askWithQFileDialog(QWidget* owner, const ctlDateiAuswahl::FileRequest& request) {
    if (request.folder)
        return QFileDialog::getExistingDirectory(owner, request.title, request.start);
    return QFileDialog::getOpenFileName(owner, request.title, request.start, request.filter);
}

} // namespace

QString ctlDateiAuswahl::defaultDialogHeader() {
    return QString::fromUtf8("Datei auswählen...");
}

QString ctlDateiAuswahl::defaultDialogFileSelect() {
    return QStringLiteral("Alle Dateien (*.*)|*.*");
}

QString ctlDateiAuswahl::QtFileFilter(const QString& windowsFilter) {
    static const QRegularExpression trailingPatterns(QStringLiteral("\\s*\\([^()]*\\)\\s*$"));
    const QStringList parts = windowsFilter.split(QLatin1Char('|'));
    QStringList filters;
    for (qsizetype i = 0; i < parts.size(); i += 2) {
        QString description = parts[i].trimmed();
        description.remove(trailingPatterns);
        QStringList patterns;
        if (i + 1 < parts.size())
            for (const QString& pattern : parts[i + 1].split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
                const QString p = pattern.trimmed();
                if (p.isEmpty())
                    continue;
                patterns << (p == QLatin1String("*.*") ? QStringLiteral("*") : p);
            }
        if (description.isEmpty() && patterns.isEmpty())
            continue;
        if (patterns.isEmpty())
            patterns << QStringLiteral("*");
        if (description.isEmpty())
            description = patterns.join(QLatin1Char(' '));
        filters << description + QStringLiteral(" (") + patterns.join(QLatin1Char(' ')) + QLatin1Char(')');
    }
    return filters.join(QStringLiteral(";;"));
}

ctlDateiAuswahl::ctlDateiAuswahl(QWidget* parent)
    : QWidget(parent), m_asker(askWithQFileDialog), m_dialogHeader(defaultDialogHeader()),
      m_dialogFileSelect(defaultDialogFileSelect()) {
    setObjectName(QStringLiteral("ctlDateiAuswahl"));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);

    m_text = new QLineEdit(this);
    m_text->setObjectName(QStringLiteral("txtDateiname"));
    layout->addWidget(m_text, 1);
    setFocusProxy(m_text);

    // Both buttons are as high as the box and square.
    const int side = m_text->sizeHint().height();
    m_select = new QToolButton(this);
    m_select->setObjectName(QStringLiteral("cmdSelectFile"));
    m_select->setText(QStringLiteral("..."));
    m_select->setToolTip(m_dialogHeader);
    m_select->setFixedSize(side, side);
    layout->addWidget(m_select);

    m_play = new QToolButton(this);
    m_play->setObjectName(QStringLiteral("cmdShowPlayRecord"));
    m_play->setIcon(QIcon::fromTheme(QStringLiteral("media-playback-start"),
                                     style()->standardIcon(QStyle::SP_MediaPlay)));
    m_play->setFixedSize(side, side);
    m_play->setVisible(false);
    layout->addWidget(m_play);

    setOnlyFolders(false); // the browse button's icon
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);

    connect(m_text, &QLineEdit::textChanged, this, [this] { txtDateiname_Change(); });
    connect(m_select, &QToolButton::clicked, this, &ctlDateiAuswahl::cmdSelectFile_Click);
    connect(m_play, &QToolButton::clicked, this, &ctlDateiAuswahl::playRecordRequested);
}

void ctlDateiAuswahl::setShowPlayButton(bool show) {
    m_showPlayButton = show;
    // The layout gives the box the room of a hidden button.
    m_play->setVisible(show);
}

void ctlDateiAuswahl::setFilePath(const QString& name) {
    m_text->setText(shownName(name));
}

QString ctlDateiAuswahl::Text() const {
    return m_text->text();
}

void ctlDateiAuswahl::setDialogHeader(const QString& header) {
    m_dialogHeader = header;
    m_select->setToolTip(header);
}

void ctlDateiAuswahl::setShowRed(bool showRed) {
    m_showRed = showRed;
    txtDateiname_Change();
}

void ctlDateiAuswahl::setDefaultPath(const QString& folder) {
    m_defaultPath = folder;
    txtDateiname_Change();
}

void ctlDateiAuswahl::setOnlyFolders(bool onlyFolders) {
    m_onlyFolders = onlyFolders;
    m_select->setIcon(onlyFolders ? QIcon::fromTheme(QStringLiteral("folder-open"),
                                                     style()->standardIcon(QStyle::SP_DirOpenIcon))
                                  : QIcon::fromTheme(QStringLiteral("document-open"),
                                                     style()->standardIcon(QStyle::SP_DialogOpenButton)));
    // What counts as opened depends on it.
    recolour();
}

void ctlDateiAuswahl::setFileAsker(FileAsker asker) {
    m_asker = asker ? std::move(asker) : FileAsker(askWithQFileDialog);
}

void ctlDateiAuswahl::cmdSelectFile_Click() {
    FileRequest request;
    request.folder = m_onlyFolders;
    request.title = m_dialogHeader;
    request.start = m_defaultPath.isEmpty() ? m_text->text() : PathComplete(m_text->text(), m_defaultPath);
    if (!m_onlyFolders)
        request.filter = QtFileFilter(m_dialogFileSelect);
    QString chosen = m_asker(this, request);
    if (chosen.isEmpty())
        return;
    if (m_onlyFolders) {
        if (!chosen.endsWith(QLatin1Char('/')))
            chosen += QLatin1Char('/');
        m_text->setText(chosen);
    } else {
        m_text->setText(shownName(chosen));
    }
}

void ctlDateiAuswahl::txtDateiname_Change() {
    recolour();
    Q_EMIT FilePathChanged(m_text->text());
}

void ctlDateiAuswahl::recolour() {
    const bool red = m_showRed && !canOpen();
    if (red == m_red)
        return;
    m_red = red;
    if (red) {
        // Only the text's role: the rest, and the disabled look, stay the style's.
        QPalette palette;
        palette.setColor(QPalette::Active, QPalette::Text, QColor(255, 0, 0));
        palette.setColor(QPalette::Inactive, QPalette::Text, QColor(255, 0, 0));
        m_text->setPalette(palette);
    } else {
        // The style's own text colour rather than a fixed black, which a dark theme would hide.
        m_text->setPalette(QPalette());
    }
}

bool ctlDateiAuswahl::canOpen() const {
    const QString text = m_text->text();
    if (text.isEmpty())
        return false;
    const QString name = m_defaultPath.isEmpty() ? text : PathComplete(text, m_defaultPath);
    if (m_onlyFolders) {
        const QFileInfo info(name);
        if (info.isDir())
            return info.isReadable();
    }
    QFile file(name);
    return file.open(QIODevice::ReadOnly);
}

QString ctlDateiAuswahl::shownName(const QString& name) const {
    if (name.isEmpty() || m_defaultPath.isEmpty())
        return name;
    const QString relative = PathRelative(name, m_defaultPath);
    if (relative.isEmpty() || relative == QLatin1String("..") || relative.startsWith(QLatin1String("../")))
        return name;
    return relative;
}
