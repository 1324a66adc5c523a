#include "ui/qt_prompter.h"

#include <gtest/gtest.h>

namespace tw::ui {
namespace {

TEST(QtNameFilterTest, DescriptionShowingItsPatternIsKept) {
    EXPECT_EQ(toQtNameFilter("(*.pls)|*.pls").toStdString(), "(*.pls)");
}

TEST(QtNameFilterTest, PatternsAreAddedToAPlainDescription) {
    EXPECT_EQ(toQtNameFilter("Playlists|*.pls|All files|*.*").toStdString(),
              "Playlists (*.pls);;All files (*.*)");
}

TEST(QtNameFilterTest, SeveralPatternsAreSeparatedByBlanks) {
    EXPECT_EQ(toQtNameFilter("Sounds|*.mp3;*.wav").toStdString(), "Sounds (*.mp3 *.wav)");
}

TEST(QtNameFilterTest, EmptyDescriptionGivesThePatternsAlone) {
    EXPECT_EQ(toQtNameFilter("|*.rot").toStdString(), "(*.rot)");
}

TEST(QtNameFilterTest, EmptyOrUnpairedFilterGivesNoFilter) {
    EXPECT_EQ(toQtNameFilter("").toStdString(), "");
    EXPECT_EQ(toQtNameFilter("Playlists").toStdString(), "");
}

}  // namespace
}  // namespace tw::ui
