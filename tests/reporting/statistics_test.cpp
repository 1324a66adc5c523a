#include "reporting/statistics.h"

#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <thread>

#include "desk/actions.h"
#include "tests/autodj/station_fixture.h"

namespace tw::reporting {
namespace {

class StatisticsTest : public test::StationFixture {
  protected:
    StatisticsTest() {
        addTrack("Rock", "a.mp3", "Queen", "Bicycle");
        addTrack("Rock", "b.mp3", "Toto", "Africa");
        addTrack("Pop", "c.mp3", "Abba", "Waterloo");
        open();
        setHistory("Queen - Bicycle", "PlayCount", "4");
        setHistory("Queen - Bicycle", "TunedOut", "1");
        setHistory("Abba - Waterloo", "PlayCount", "2");
        setHistory("Abba - Waterloo", "TunedOut", "3");
        EXPECT_TRUE(desk::press(*console, "cmdViewStatistics"));
    }
    core::StatisticsForm& form() { return console->ui.statistics; }
    void tick(const std::string& category) {
        const auto& items = form().lstCatagories.items;
        for (std::size_t i = 0; i < items.size(); ++i) {
            if (items[i].text == category) {
                ASSERT_TRUE(
                    desk::select(*console, "frmStatistics.lstCatagories", static_cast<int>(i)));
                return;
            }
        }
        FAIL() << category;
    }
    std::vector<std::vector<std::string>> report() {
        EXPECT_TRUE(desk::press(*console, "frmStatistics.cmdRunReport"));
        // The tags are read on the report's worker; its end, an event, fills the grid.
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (reporting::reportRunning(*console) && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            loop.processPending();
        }
        EXPECT_FALSE(reporting::reportRunning(*console));
        std::vector<std::vector<std::string>> out;
        for (const auto& r : form().lstSongList.rows) {
            out.push_back(r.cells);
        }
        return out;
    }
};

TEST_F(StatisticsTest, TheWindowListsTheCategoryFoldersNoneTicked) {
    EXPECT_TRUE(form().frmStatistics.visible);
    EXPECT_EQ(form().frmStatistics.caption, "Song Statistics");
    ASSERT_EQ(form().lstCatagories.listCount(), 2);
    EXPECT_EQ(form().lstCatagories.items[0].text, "Pop");
    EXPECT_FALSE(form().lstCatagories.items[0].selected);
    EXPECT_EQ(form().lstSongList.columns,
              (std::vector<std::string>{"Catagory", "Track Name", "Playcount", "TuneOuts",
                                        "Percentage"}));
    EXPECT_EQ(form().cmdRunReport.caption, "Report");
    EXPECT_EQ(form().cmdRunReport.caption2, "Process");
}

TEST_F(StatisticsTest, NoTickedCategoryOnlyEmptiesTheList) {
    form().lstSongList.rows.push_back({{"old"}, false, false});
    EXPECT_TRUE(report().empty());
}

TEST_F(StatisticsTest, ClickingARowTogglesItsTick) {
    tick("Rock");
    EXPECT_TRUE(form().lstCatagories.items[1].selected);
    tick("Rock");
    EXPECT_FALSE(form().lstCatagories.items[1].selected);
}

TEST_F(StatisticsTest, TheTickedCategoriesTracksLowestPercentageFirst) {
    tick("Rock");
    tick("Pop");
    const auto rows = report();
    ASSERT_EQ(rows.size(), 3u);
    // A track never played shows 0, 0 and 0; more tune-outs than plays go above 100.
    EXPECT_EQ(rows[0], (std::vector<std::string>{"Rock", "Toto - Africa", "0", "0", "0"}));
    EXPECT_EQ(rows[1], (std::vector<std::string>{"Rock", "Queen - Bicycle", "4", "1", "25"}));
    EXPECT_EQ(rows[2], (std::vector<std::string>{"Pop", "Abba - Waterloo", "2", "3", "150"}));
    EXPECT_EQ(form().cmdRunReport.caption, "Report");  // painted back after the progress
}

TEST_F(StatisticsTest, ThePercentageIsRoundedToOneDecimalAndThenToAWholeNumber) {
    EXPECT_EQ(tuneOutPercentage(0, 0), 0);
    EXPECT_EQ(tuneOutPercentage(5, 0), 0);
    EXPECT_EQ(tuneOutPercentage(1, 3), 33);
    EXPECT_EQ(tuneOutPercentage(2, 3), 67);
    EXPECT_EQ(tuneOutPercentage(1, 8), 12);  // 12.5: halves to even
    EXPECT_EQ(tuneOutPercentage(3, 8), 38);  // 37.5
    EXPECT_EQ(tuneOutPercentage(3, 2), 150);
}

TEST_F(StatisticsTest, TheExchangeSortKeepsTiesInTheirOrder) {
    std::vector<ReportRow> rows = {
        {"A", "x", 0, 0, 50}, {"A", "y", 0, 0, 10}, {"A", "z", 0, 0, 50}, {"A", "w", 0, 0, 10}};
    sortByPercentage(rows);
    std::string order;
    for (const auto& r : rows) {
        order += r.trackName;
    }
    EXPECT_EQ(order, "ywxz");
}

// The passes of exchanges between neighbours the order is defined by, kept here as the reference.
void exchangeSort(std::vector<ReportRow>& rows) {
    bool swapped = true;
    while (swapped) {
        swapped = false;
        for (std::size_t i = 1; i < rows.size(); ++i) {
            if (rows[i].percentage < rows[i - 1].percentage) {
                std::swap(rows[i], rows[i - 1]);
                swapped = true;
            }
        }
    }
}

TEST(StatisticsSortTest, TheOrderIsTheExchangeSortsForRowsOfManyTies) {
    std::mt19937 random(20261126);
    for (const int size : {0, 1, 2, 3, 17, 500, 3000}) {
        for (const int spread : {1, 3, 40, 250}) {
            std::vector<ReportRow> rows;
            for (int i = 0; i < size; ++i) {
                rows.push_back({"C", "t" + std::to_string(i), 0, 0,
                                static_cast<std::int32_t>(random() % spread) - 1});
            }
            auto expected = rows;
            exchangeSort(expected);
            sortByPercentage(rows);
            ASSERT_EQ(rows.size(), expected.size());
            for (std::size_t i = 0; i < rows.size(); ++i) {
                ASSERT_EQ(rows[i].trackName, expected[i].trackName)
                    << "row " << i << " of " << size << ", percentages 0-" << spread;
            }
        }
    }
}

TEST_F(StatisticsTest, TheTagsAreReadOffTheConsoleThreadAndASecondPressWaitsForTheEnd) {
    desk::press(*console, "cmdViewStatistics");
    tick("Rock");
    desk::press(*console, "frmStatistics.cmdRunReport");
    EXPECT_TRUE(reporting::reportRunning(*console)) << "the press returns before the tags";
    EXPECT_TRUE(form().lstSongList.rows.empty());
    desk::press(*console, "frmStatistics.cmdRunReport");  // not taken while one runs
    const auto rows = report();
    EXPECT_EQ(rows.size(), 2u);
    EXPECT_EQ(form().cmdRunReport.caption, "Report");
    EXPECT_EQ(form().cmdRunReport.caption2, "Process");
}

TEST_F(StatisticsTest, AConsoleClosedDuringAReportLeavesNothingBehind) {
    desk::press(*console, "cmdViewStatistics");
    tick("Rock");
    tick("Pop");
    desk::press(*console, "frmStatistics.cmdRunReport");
    console.reset();
    loop.processPending();
    SUCCEED();
}

}  // namespace
}  // namespace tw::reporting
