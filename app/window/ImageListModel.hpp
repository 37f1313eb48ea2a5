#pragma once
/// The model's image list as Qt's item views read it. It holds nothing itself: every row is
/// read from `AppModel::items()` when asked for, and redrawn whenever the list changes.

#include <QAbstractListModel>
#include <QUuid>

#include "model/AppModel.hpp"

namespace tessel::app {

class ImageListModel final : public QAbstractListModel {
    Q_OBJECT
public:
    enum Role {
        IdRole = Qt::UserRole,  ///< the item's id (QUuid)
        DimensionsRole,         ///< "{width} × {height}"
        ThumbnailRole,          ///< the encoded thumbnail (QByteArray); empty when none
    };

    explicit ImageListModel(AppModel& model, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

    /// Drags carry the item's id as text: its UUID in upper case, without braces.
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;

    /// The row of the item `id`; -1 when it is not in the list.
    int rowOf(const QUuid& id) const;
    /// The id of the item in `row`.
    QUuid idAt(int row) const;

private:
    AppModel& model_;
    int shownRows_;  // the number of rows the views were last told of
};

/// The drag payload of an item: its id as a UUID string.
QString dragPayload(const QUuid& id);

}  // namespace tessel::app
