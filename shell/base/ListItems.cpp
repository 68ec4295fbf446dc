#include "shell/base/ListItems.h"

ListItems::ListItems(bool smallIcons, QObject* parent)
    : QAbstractTableModel(parent), m_smallIcons(smallIcons) {}

int ListItems::Append(Item item) {
    const int row = Count();
    beginInsertRows(QModelIndex(), row, row);
    m_items.push_back(std::move(item));
    endInsertRows();
    return row;
}

bool ListItems::Replace(int row, Item item) {
    if (row < 0 || row >= Count())
        return false;
    m_items[std::size_t(row)] = std::move(item);
    Q_EMIT dataChanged(index(row, 0), index(row, columnCount() - 1));
    return true;
}

bool ListItems::SetSmallIcon(int row, const QString& icon) {
    if (row < 0 || row >= Count())
        return false;
    m_items[std::size_t(row)].SmallIcon = icon;
    Q_EMIT dataChanged(index(row, 0), index(row, 0), {SmallIconRole});
    return true;
}

void ListItems::Clear() {
    // Rows go, the columns stay: a view keeps its column widths and order over a refill.
    m_selected = -1;
    if (m_items.empty())
        return;
    beginRemoveRows(QModelIndex(), 0, Count() - 1);
    m_items.clear();
    endRemoveRows();
}

void ListItems::AddColumn(Column column) {
    // Columns are set up once, on a new list: the views start over.
    beginResetModel();
    m_columns.push_back(std::move(column));
    endResetModel();
}

void ListItems::SetColumns(std::vector<Column> columns) {
    beginResetModel();
    m_columns = std::move(columns);
    endResetModel();
}

int ListItems::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : Count();
}

int ListItems::columnCount(const QModelIndex& parent) const {
    if (parent.isValid())
        return 0;
    return m_columns.empty() ? 1 + SubItemCount : int(m_columns.size());
}

QVariant ListItems::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= Count())
        return {};
    const Item& item = At(index.row());
    if (role == TagRole)
        return item.Tag;
    if (role == SmallIconRole)
        return index.column() == 0 && !item.SmallIcon.isEmpty() ? QVariant(item.SmallIcon) : QVariant();
    if (role != Qt::DisplayRole)
        return {};
    if (index.column() == 0)
        return item.Text;
    return item.SubItems.value(index.column() - 1);
}

QVariant ListItems::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation == Qt::Horizontal && role == Qt::DisplayRole && section >= 0 &&
        section < int(m_columns.size()))
        return m_columns[std::size_t(section)].Title;
    return QAbstractTableModel::headerData(section, orientation, role);
}
