#include "ui/element_fingerprint.h"

#include <gtest/gtest.h>

#include <cctype>
#include <functional>
#include <string>

namespace tw::ui {
namespace {

using core::Element;

core::Element sample() {
    Element e("lstPlaylist", core::ElementKind::Grid);
    e.caption = "Playlist";
    e.rect = {10, 20, 300, 200};
    e.items = {{"Jazz", 1, "", false}};
    e.columns = {"Time On", "Track Name"};
    e.rows = {{{"10:00", "Song"}, false, false}};
    e.drawing.fills.push_back({0, 0, 10, 10, core::ImageRole::GYR, 0});
    e.drawing.texts.push_back({"NEXT", 3, 4, 0, 10, true});
    return e;
}

TEST(ElementFingerprintTest, SameLookGivesTheSameFingerprint) {
    EXPECT_EQ(elementFingerprint(sample()), elementFingerprint(sample()));
}

TEST(ElementFingerprintTest, TextMovedBetweenCaptionsIsAChange) {
    Element a = sample(), b = sample();
    a.caption = "ab";
    a.caption2 = "c";
    b.caption = "a";
    b.caption2 = "bc";
    EXPECT_NE(elementFingerprint(a), elementFingerprint(b));
}

struct Change {
    const char* what;
    std::function<void(Element&)> apply;
};

class ElementFingerprintChangeTest : public ::testing::TestWithParam<Change> {};

TEST_P(ElementFingerprintChangeTest, AnythingDrawnThatChangesChangesTheFingerprint) {
    Element changed = sample();
    GetParam().apply(changed);
    EXPECT_NE(elementFingerprint(changed), elementFingerprint(sample())) << GetParam().what;
}

INSTANTIATE_TEST_SUITE_P(
    EveryDrawnField, ElementFingerprintChangeTest,
    ::testing::Values(Change{"caption", [](Element& e) { e.caption = "Other"; }},
                      Change{"caption2", [](Element& e) { e.caption2 = "Broadcast"; }},
                      Change{"image", [](Element& e) { e.image = core::ImageRole::Blue; }},
                      Change{"backColor", [](Element& e) { e.backColor = 0x40; }},
                      Change{"foreColor", [](Element& e) { e.foreColor = 255; }},
                      Change{"visible", [](Element& e) { e.visible = false; }},
                      Change{"enabled", [](Element& e) { e.enabled = false; }},
                      Change{"left", [](Element& e) { e.rect.left += 1; }},
                      Change{"height", [](Element& e) { e.rect.height += 1; }},
                      Change{"container", [](Element& e) { e.container = "frmTrackList"; }},
                      Change{"fontSize", [](Element& e) { e.fontSize = 12; }},
                      Change{"text", [](Element& e) { e.text = "typed"; }},
                      Change{"value", [](Element& e) { e.value = 1; }},
                      Change{"listIndex", [](Element& e) { e.listIndex = 0; }},
                      Change{"item text", [](Element& e) { e.items[0].text = "Rock"; }},
                      Change{"item selected", [](Element& e) { e.items[0].selected = true; }},
                      Change{"column", [](Element& e) { e.columns[1] = "Length"; }},
                      Change{"cell", [](Element& e) { e.rows[0].cells[1] = "Other Song"; }},
                      Change{"row checked", [](Element& e) { e.rows[0].checked = true; }},
                      Change{"row", [](Element& e) { e.row = 0; }},
                      Change{"fill width", [](Element& e) { e.drawing.fills[0].width = 11; }},
                      Change{"fill colour", [](Element& e) { e.drawing.fills[0].color = 1; }},
                      Change{"printed text", [](Element& e) { e.drawing.texts[0].text = "NEXT!"; }},
                      Change{"printed colour",
                             [](Element& e) { e.drawing.texts[0].color = 0xFFFFFF; }},
                      Change{"drawing cleared", [](Element& e) { e.drawing.clear(); }}),
    [](const ::testing::TestParamInfo<Change>& info) {
        std::string name;
        for (const char* p = info.param.what; *p; ++p) {
            if (std::isalnum(static_cast<unsigned char>(*p))) {
                name += *p;
            }
        }
        return name;
    });

}  // namespace
}  // namespace tw::ui
