#include <gtest/gtest.h>

#include "fixtures/window_fixture.h"
#include "frame/window_state.h"

namespace tolvar {
namespace {

TEST(WindowState, ReadsItsRectangleFromFixedPlaces)
{
    struct Case {
        const char* text;
        QRect rect;
    };
    for (const Case& c : {
             Case{"0040 0030 0760 0540", QRect(40, 30, 720, 510)},
             Case{"-100 -050 0700 0500", QRect(-100, -50, 800, 550)},
             // A fifth digit shifts all that follows by one place: the numbers are read from where they are not.
             Case{"10000 0030 11000 0540", QRect(QPoint(10000, 30), QPoint(11000 - 1, -1))},
             Case{"12", QRect(QPoint(12, 0), QPoint(-1, -1))},
             Case{"nonsense", QRect(QPoint(0, 0), QPoint(-1, -1))},
             Case{"99999999999999999999", QRect(QPoint(100'000, 100'000), QPoint(100'000 - 1, 99'999 - 1))},
         }) {
        EXPECT_EQ(RectFromText(c.text), c.rect) << c.text;
    }
    EXPECT_EQ(RectFromText(""), std::nullopt);
    EXPECT_EQ(RectText(QRect(40, 30, 720, 510)), "0040 0030 0760 0540");
    EXPECT_EQ(RectFromText(RectText(QRect(-7, 3, 640, 480))), QRect(-7, 3, 640, 480));
}

TEST(WindowState, HasItsDefaultsAndComesBack)
{
    fixtures::MemoryProfile profile;
    const WindowState first = WindowState::Load(profile);
    EXPECT_EQ(first.rect, QRect(40, 30, 720, 510));
    EXPECT_EQ(first.paneW, 4000);
    EXPECT_EQ(first.paneH, 5900);
    EXPECT_EQ(first.output, 0);
    const WindowState saved = {QRect(1, 2, 300, 400), true, true, 3, 1234, 5678, "bars"};
    saved.Save(profile);
    const WindowState loaded = WindowState::Load(profile);
    EXPECT_EQ(loaded.rect, saved.rect);
    EXPECT_TRUE(loaded.isMinimised && loaded.isMaximised);
    EXPECT_EQ(loaded.output, 3);
    EXPECT_EQ(loaded.paneW, 1234);
    EXPECT_EQ(loaded.paneH, 5678);
    EXPECT_EQ(loaded.bars, "bars");
}

} // namespace
} // namespace tolvar
