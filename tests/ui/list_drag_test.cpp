// The drags between and within the console's lists, without a window.

#include "ui/list_drag.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "station/startup.h"
#include "tests/testlib/console_fixture.h"

namespace tw::ui {
namespace {

class ListDragTest : public test::ConsoleFixture {
  protected:
    ListDragTest() {
        for (const char* n : {"Jazz", "Rock", "Soul"}) {
            std::filesystem::create_directories(dir / "Music" / n);
        }
        station::Form_Load(make());
    }
    core::MainForm& m() { return console->form(); }
    std::string category(int i) {
        return m().lstPlaylists.items.at(static_cast<std::size_t>(i)).text;
    }
};

TEST_F(ListDragTest, ACategoryReleasedOnTheRotationGoesInWhereItLands) {
    ListDrag drag(*console);
    drag.press("lstPlaylists", 0);
    EXPECT_TRUE(drag.active());
    drag.move("lstRotation", -1);
    drag.release("lstRotation", -1);
    EXPECT_FALSE(drag.active());
    ASSERT_EQ(m().lstRotation.rowCount(), 1);
    drag.press("lstPlaylists", 2);
    drag.release("lstRotation", 0);  // on the first row: goes in before it
    ASSERT_EQ(m().lstRotation.rowCount(), 2);
    EXPECT_EQ(m().lstRotation.rows[0].cells.at(1), category(2));
    EXPECT_EQ(m().lstRotation.rows[1].cells.at(1), category(0));
}

TEST_F(ListDragTest, ACategoryReleasedElsewhereOrPressedBetweenRowsDropsNothing) {
    ListDrag drag(*console);
    drag.press("lstPlaylists", 1);
    drag.release("lstPlaylist", 0);
    drag.press("lstPlaylists", -1);
    EXPECT_FALSE(drag.active());
    drag.release("lstRotation", -1);
    drag.press("lstPlaylists", 7);  // past the last category
    drag.release("lstRotation", -1);
    EXPECT_EQ(m().lstRotation.rowCount(), 0);
}

TEST_F(ListDragTest, GridRowsTravelWithThePointerWithinTheirOwnGrid) {
    ListDrag drag(*console);
    for (int i : {0, 1, 2}) {
        drag.press("lstPlaylists", i);
        drag.release("lstRotation", -1);
    }
    ASSERT_EQ(m().lstRotation.rowCount(), 3);
    drag.press("lstRotation", 0);
    drag.move("lstRotation", 1);
    drag.move("lstRotation", 2);
    drag.move("lstPlaylists", 0);  // another list: ignored
    drag.release("lstRotation", 2);
    EXPECT_EQ(m().lstRotation.rows[2].cells.at(1), category(0));
    EXPECT_EQ(m().lstRotation.rows[0].cells.at(1), category(1));
    EXPECT_EQ(m().lstRotation.rows[1].cells.at(1), category(2));

    ASSERT_GE(m().lstPlaylist.rowCount(), 2);
    m().lstPlaylist.rows[0].cells.at(1) = "first";
    m().lstPlaylist.rows[1].cells.at(1) = "second";
    drag.press("lstPlaylist", 0);
    drag.move("lstPlaylist", 1);
    drag.release("lstPlaylist", 1);
    EXPECT_EQ(m().lstPlaylist.rows[0].cells.at(1), "second");
    EXPECT_EQ(m().lstPlaylist.rows[1].cells.at(1), "first");
}

}  // namespace
}  // namespace tw::ui
