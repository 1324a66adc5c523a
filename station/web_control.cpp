#include "station/web_control.h"

#include <string>

#include "desk/actions.h"
#include "web/status_feed.h"

namespace tw::station {

void carryOutWebControl(core::Console& c, const web::ControlRequest& request) {
    switch (request.kind) {
        case web::ControlKind::Next:
            desk::press(c, "cmdSkipNow");
            break;
        case web::ControlKind::Mode:
            if (c.automated() != (request.value == "auto")) {
                desk::press(c, "cmdAutoManual");
            }
            break;
        case web::ControlKind::Message: {
            core::Element& box = c.form().txtSendText;
            const std::string own = box.text;
            box.text = request.value;
            desk::press(c, "cmdSendMessage");
            box.text = own;
            break;
        }
    }
}

void startWebStatus(core::Console& c) {
    web::startStatusFeed(c, &carryOutWebControl);
}

}  // namespace tw::station
