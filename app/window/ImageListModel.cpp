#include "window/ImageListModel.hpp"

#include <QMimeData>

#include "window/Texts.hpp"

namespace tessel::app {

QString dragPayload(const QUuid& id) { return id.toString(QUuid::WithoutBraces).toUpper(); }

ImageListModel::ImageListModel(AppModel& model, QObject* parent)
    : QAbstractListModel(parent), model_(model), shownRows_(rowCount()) {
    // The list has no finer change notification: it is read afresh after every change. When
    // the number of rows stays (thumbnails filling in, a move) every row is redrawn in place,
    // keeping the view where it is; otherwise the rows are reset.
    connect(&model_, &AppModel::itemsChanged, this, [this] {
        const int rows = rowCount();
        if (rows == shownRows_) {
            if (rows > 0) emit dataChanged(index(0, 0), index(rows - 1, 0));
            return;
        }
        beginResetModel();
        shownRows_ = rows;
        endResetModel();
    });
}

int ImageListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(model_.items().size());
}

QVariant ImageListModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= rowCount()) return {};
    const ImageItem& item = model_.items()[static_cast<std::size_t>(index.row())];
    const QString name = QString::fromStdString(item.url.filename().string());
    const QString size = texts::dimensions(item.info.width, item.info.height);
    switch (role) {
        case Qt::DisplayRole:
        case Qt::ToolTipRole: return name;
        case Qt::AccessibleTextRole: return QStringLiteral("%1, %2").arg(name, size);
        case IdRole: return item.id;
        case DimensionsRole: return size;
        case ThumbnailRole: return item.thumbnailData;
        default: return {};
    }
}

Qt::ItemFlags ImageListModel::flags(const QModelIndex& index) const {
    if (!index.isValid()) return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled;
}

QStringList ImageListModel::mimeTypes() const { return {QStringLiteral("text/plain")}; }

QMimeData* ImageListModel::mimeData(const QModelIndexList& indexes) const {
    if (indexes.isEmpty()) return nullptr;
    auto* data = new QMimeData;
    data->setText(dragPayload(idAt(indexes.constFirst().row())));
    return data;
}

int ImageListModel::rowOf(const QUuid& id) const {
    const auto& items = model_.items();
    const auto found = std::ranges::find(items, id, &ImageItem::id);
    return found == items.end() ? -1 : static_cast<int>(found - items.begin());
}

QUuid ImageListModel::idAt(int row) const {
    if (row < 0 || row >= rowCount()) return {};
    return model_.items()[static_cast<std::size_t>(row)].id;
}

}  // namespace tessel::app
