#include "desk/cast_layout.h"

namespace tw::desk {

namespace {

struct CastPlace {
    const char* name;
    double left, top, width, height;
};

// The profile buttons run along the top in two rows of six; the server's frame below them with
// its labels on the left; the format, the switches and the buttons at the foot.
constexpr CastPlace kCastPlaces[] = {
    {"frameServer", 10, 92, 540, 268},
    {"cmboServerType", 120, 108, 200, 22},
    {"txtServer", 120, 136, 420, 22},
    {"txtPortNumber", 120, 164, 80, 22},
    {"lblSid", 214, 164, 40, 22},
    {"txtStationID", 256, 164, 60, 22},
    {"lblMount", 330, 164, 90, 22},
    {"txtMountPoint", 420, 164, 120, 22},
    {"txtPassword", 120, 192, 200, 22},
    {"txtName", 120, 220, 420, 22},
    {"txtURL", 120, 248, 420, 22},
    {"txtGenre", 120, 276, 420, 22},
    {"txtDescription", 120, 304, 420, 22},
    {"lblShowStatus", 120, 332, 300, 20},
    {"Options(0)", 20, 372, 80, 20},
    {"Options(1)", 104, 372, 80, 20},
    {"Options(2)", 188, 372, 90, 20},
    {"cmbBitrate", 290, 372, 80, 22},
    {"chkReconnect", 20, 400, 130, 20},
    {"chkPublic", 160, 400, 110, 20},
    {"chkEnableEncoder", 280, 400, 130, 20},
    {"btnStart", 20, 430, 100, 28},
    {"cmdKickSource", 130, 430, 140, 28},
    {"cmdSave", 440, 430, 110, 28},
};

}  // namespace

void applyCastLayout(core::Console& c) {
    auto& f = c.ui.cast;
    f.frmCast.rect = {0, 0, 560, 470};
    for (const CastPlace& p : kCastPlaces) {
        if (core::Element* e = f.find(p.name)) {
            e->rect = {p.left, p.top, p.width, p.height};
        }
    }
    for (int i = 0; i < core::kEncoderCount; ++i) {
        f.cmdEncoders[static_cast<std::size_t>(i)].rect = {10.0 + (i % 6) * 90.0,
                                                           10.0 + (i / 6) * 38.0, 86, 34};
    }
}

}  // namespace tw::desk
