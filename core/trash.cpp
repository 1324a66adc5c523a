#include "core/trash.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QString>

namespace tw::core {

bool DesktopTrash::moveToTrash(const std::string& path) {
    // Qt gives up on the home trash when the data folder itself is missing (a fresh account or a
    // server): make it first.
    const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    if (!data.isEmpty()) {
        QDir().mkpath(data);
    }
    QString where;
    if (!QFile::moveToTrash(QString::fromStdString(path), &where)) {
        return false;
    }
    return QDir::isAbsolutePath(where);
}

}  // namespace tw::core
