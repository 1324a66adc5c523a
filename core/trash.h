#pragma once
// The desktop trash (freedesktop.org): files and folders the operator deletes go there.
//
// Thread contract: console thread only.

#include <string>

namespace tw::core {

class Trash {
  public:
    virtual ~Trash() = default;
    virtual bool moveToTrash(const std::string& path) = 0;
};

// The desktop's own trash, through Qt.
class DesktopTrash final : public Trash {
  public:
    bool moveToTrash(const std::string& path) override;
};

}  // namespace tw::core
