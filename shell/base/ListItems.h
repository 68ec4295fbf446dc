#pragma once

#include <QAbstractTableModel>
#include <QString>
#include <QStringList>

#include <vector>

// The rows of a list view, as the lists of phonebooks and of the call log fill them: per row the item
// text, a tag (a record key or record number), the key of its small icon (empty when the list has none)
// and up to seven sub-items. Any item view can show it: column 0 is the text, the further columns the
// sub-items. A list with column headers (AddColumn) has as many columns as headers.
class ListItems : public QAbstractTableModel {
public:
    static constexpr int SubItemCount = 7;
    enum Role { TagRole = Qt::UserRole, SmallIconRole };

    struct Item {
        QString Text;
        double Tag = 0;
        QString SmallIcon;
        QStringList SubItems;
    };
    // A column header: its title, its key and its width in twips.
    struct Column {
        QString Title;
        QString Key;
        int Width = 0;
    };

    explicit ListItems(bool smallIcons = true, QObject* parent = nullptr);

    bool HasSmallIcons() const { return m_smallIcons; }
    int Count() const { return int(m_items.size()); }
    const Item& At(int row) const { return m_items.at(std::size_t(row)); }
    // Appends an item; gives its row.
    int Append(Item item);
    // Replaces the item of an existing row; false if the row does not exist.
    bool Replace(int row, Item item);
    // Changes the small icon of a row in place.
    bool SetSmallIcon(int row, const QString& icon);
    void Clear();
    // The selected row, -1 for none; the list view that shows the model keeps it in step.
    int Selected() const { return m_selected; }
    void Select(int row) { m_selected = row; }

    const std::vector<Column>& Columns() const { return m_columns; }
    void AddColumn(Column column);
    // Replaces every column (a list that shows other rows under other headers).
    void SetColumns(std::vector<Column> columns);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

private:
    bool m_smallIcons;
    int m_selected = -1;
    std::vector<Item> m_items;
    std::vector<Column> m_columns;
};
