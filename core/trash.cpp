#include "core/trash.h"

#include <QFile>
#include <QString>

namespace tw::core {

bool DesktopTrash::moveToTrash(const std::string& path) {
    return QFile::moveToTrash(QString::fromStdString(path));
}

}  // namespace tw::core
