#include "core/name_dialog.h"

namespace tw::core {

void setUpNameDialog(core::Console& c, const std::string& mode) {
    auto& d = c.ui.dialog;
    std::string caption, explanation;
    if (mode == "playlist") {
        caption = "Create Catagory";
        explanation = "Enter new Catagory List Below and Press Create Create Catagory";
    } else if (mode == "rotation") {
        caption = "Create Rotation";
        explanation = "Enter new Rotation Name Below and Press Create Rotation Button";
    } else {
        caption = "Save VoiceTrack";
        explanation = "Enter Name for Voicetrack Below to save";
    }
    d.frmDialog.tag = mode;
    d.frmDialog.caption = caption;
    d.cmdCreate.caption = caption;
    d.cmdCancel.caption = "Cancel";
    d.lblExplanation.caption = explanation;
    d.txtInputData.text = kNameDialogStart;
}

std::optional<std::string> askForName(core::Console& c, const std::string& mode) {
    setUpNameDialog(c, mode);
    auto& d = c.ui.dialog;
    const std::string caption = d.cmdCreate.caption;
    const std::string explanation = d.lblExplanation.caption;
    d.frmDialog.visible = true;
    std::optional<std::string> answer =
        c.svc.prompter ? c.svc.prompter->askName(caption, explanation, kNameDialogStart)
                       : std::nullopt;
    d.frmDialog.visible = false;
    if (!answer) {
        return std::nullopt;
    }
    d.txtInputData.text = *answer;
    if (answer->empty() || *answer == kNameDialogStart) {
        return std::nullopt;
    }
    return answer;
}

}  // namespace tw::core
