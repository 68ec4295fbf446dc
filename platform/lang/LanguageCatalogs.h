#pragma once

#include <QHash>
#include <QList>
#include <QString>

#include <memory>

// The language libraries: one catalog of numbered texts per language. A catalog is a UTF-8 text file
// "lang_xx.txt" with one text per line, "NUMBER<TAB>TEXT"; "#" starts a comment line, and the text knows
// the escapes "\n", "\t" and "\\". The program names a catalog by its library name, "lang_xx.dll".
class LanguageCatalogs {
public:
    // `folder`: where the catalogs lie; empty: the catalogs built into the program (resources ":/lang").
    explicit LanguageCatalogs(QString folder = {});

    // The names of the catalogs present ("lang_de.dll", ...), joined by "\"; returns their count.
    int GetLanguages(QString& names) const;
    // Switches GetResString to the catalog of this library name; negative when there is no such catalog
    // or it cannot be read, and then the catalog in use stays.
    int SetLanguageDLL(const QString& libraryName);
    // The text of a number in the current catalog; empty for an unknown number or with no catalog set.
    QString GetResString(int number) const;

    // The numbers of the current catalog, ascending.
    QList<int> Numbers() const;

    // The texts of one catalog file's contents; lines that don't follow the format are passed over.
    static QHash<int, QString> Parse(const QByteArray& contents);

private:
    QString catalogFile(const QString& libraryName) const;

    QString m_folder;
    using Catalog = std::shared_ptr<const QHash<int, QString>>;
    QHash<QString, Catalog> m_cache; // parsed catalogs by file name, each read once
    Catalog m_current;
};
