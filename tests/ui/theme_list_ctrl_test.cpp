#include <QImage>
#include <QPainter>
#include <QStandardItemModel>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ui/theme_list_ctrl.h"

namespace tolvar {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A list of two rows and two columns whose hooks answer as the test wants, and note that they were asked to draw.
class HookedList final : public CThemeListCtrl {
public:
    HookedList() : CThemeListCtrl(nullptr)
    {
        for (int row = 0; row < 2; ++row) {
            auto* first = new QStandardItem(QStringLiteral("W"));
            first->setData(10 + row, kItemDataRole);
            m_model.appendRow({first, new QStandardItem(QStringLiteral("W"))});
        }
        setModel(&m_model);
        resize(300, 200);
    }

    std::vector<std::string> Draw()
    {
        calls.clear();
        image = QImage(size(), QImage::Format_RGB32);
        render(&image);
        return calls;
    }

    /// The background at the right end of a cell, where no text is.
    QColor Background(int row, int column)
    {
        const QRect cell = visualRect(m_model.index(row, column));
        return image.pixelColor(viewport()->mapTo(this, QPoint(cell.right() - 4, cell.center().y())));
    }

    bool listPredraw = false, drawsList = false, items = false, postPaint = false, listPostdraw = false;
    bool itemPredraw = false, drawsItem = false, subitems = false, itemPostPaint = false, itemPostdraw = false;
    bool subitemPredraw = false, drawsSubitem = false, subitemPostPaint = false, subitemPostdraw = false;
    std::optional<QFont> itemFont, subitemFont;
    ListColor itemBack = kUsualColor, subitemBack = kUsualColor;
    std::vector<std::string> calls;
    QImage image;

protected:
    bool WantListPredraw() const override { return listPredraw; }
    bool ListPredraw(QPainter&) override { return Note("list predraw", drawsList); }
    bool WantItemNotifications() const override { return items; }
    bool WantPostPaint() const override { return postPaint; }
    bool WantListPostdraw() const override { return listPostdraw; }
    void ListPostdraw(QPainter&) override { Note("list postdraw", true); }
    std::optional<QFont> ItemFont(const ListItem&) const override { return itemFont; }
    ListColor ItemBackColor(const ListItem&) const override { return itemBack; }
    bool WantItemPredraw(const ListItem&) const override { return itemPredraw; }
    bool ItemPredraw(QPainter&, const ListItem& item) override
    {
        return Note("item " + std::to_string(item.row) + " data " + std::to_string(item.data), drawsItem);
    }
    bool WantSubitemNotifications(const ListItem&) const override { return subitems; }
    bool WantItemPostPaint(const ListItem&) const override { return itemPostPaint; }
    bool WantItemPostdraw() const override { return itemPostdraw; }
    void ItemPostdraw(QPainter&, const ListItem& item) override { Note("item post " + std::to_string(item.row), true); }
    std::optional<QFont> SubitemFont(const ListCell&) const override { return subitemFont; }
    ListColor SubitemBackColor(const ListCell&) const override { return subitemBack; }
    bool WantSubitemPredraw(const ListCell&) const override { return subitemPredraw; }
    bool SubitemPredraw(QPainter&, const ListCell& cell) override
    {
        return Note("cell " + std::to_string(cell.row) + "," + std::to_string(cell.column), drawsSubitem);
    }
    bool WantSubitemPostPaint(const ListCell&) const override { return subitemPostPaint; }
    bool WantSubitemPostdraw() const override { return subitemPostdraw; }
    void SubitemPostdraw(QPainter&, const ListCell& cell) override
    {
        Note("cell post " + std::to_string(cell.row) + "," + std::to_string(cell.column), true);
    }

private:
    bool Note(std::string call, bool answer)
    {
        calls.push_back(std::move(call));
        return answer;
    }

    QStandardItemModel m_model;
};

TEST(ThemeList, DrawsAsThePlainControlWhenNoHookIsAnswered)
{
    HookedList list;
    EXPECT_THAT(list.Draw(), IsEmpty());
    EXPECT_EQ(list.Background(1, 1), list.palette().color(QPalette::Base));
}

TEST(ThemeList, AsksForAStageOnlyWhereTheStageBeforeWantedIt)
{
    HookedList list;
    list.listPostdraw = list.itemPredraw = list.itemPostdraw = list.subitemPredraw = list.subitemPostdraw = true;
    EXPECT_THAT(list.Draw(), IsEmpty());
    list.items = true;
    EXPECT_THAT(list.Draw(), ElementsAre("item 0 data 10", "item 1 data 11"));
    list.itemPredraw = false;
    list.subitems = true;
    EXPECT_THAT(list.Draw(), ElementsAre("cell 0,0", "cell 0,1", "cell 1,0", "cell 1,1"));
    list.subitemPredraw = false;
    list.itemPostPaint = list.subitemPostPaint = list.postPaint = true;
    EXPECT_THAT(list.Draw(), ElementsAre("cell post 0,0", "cell post 0,1", "item post 0", "cell post 1,0",
                                         "cell post 1,1", "item post 1", "list postdraw"));
}

TEST(ThemeList, AFontBringsItsPostPaintStage)
{
    HookedList list;
    list.items = list.subitems = list.itemPostdraw = list.subitemPostdraw = true;
    list.itemFont = QFont();
    EXPECT_THAT(list.Draw(), ElementsAre("item post 0", "item post 1"));
    list.itemFont.reset();
    list.subitemFont = QFont();
    EXPECT_THAT(list.Draw(), ElementsAre("cell post 0,0", "cell post 0,1", "cell post 1,0", "cell post 1,1"));
}

TEST(ThemeList, LeavesOutWhatAHookHasDrawn)
{
    HookedList list;
    list.items = list.itemPredraw = list.drawsItem = true;
    list.itemBack = 0x0000FF;
    list.Draw();
    EXPECT_EQ(list.Background(0, 0), list.palette().color(QPalette::Base));
    list.listPredraw = list.drawsList = true;
    EXPECT_THAT(list.Draw(), ElementsAre("list predraw"));
}

TEST(ThemeList, PaintsTheColoursOfRowsAndCells)
{
    HookedList list;
    list.items = true;
    list.itemBack = 0x0000FF;
    list.Draw();
    EXPECT_EQ(list.Background(1, 0), QColor(Qt::red));
    list.subitems = true;
    list.subitemBack = 0xFF0000;
    list.Draw();
    EXPECT_EQ(list.Background(1, 0), QColor(Qt::blue));
    list.subitemBack = kUsualColor; // a cell's answer stands for itself
    list.Draw();
    EXPECT_EQ(list.Background(1, 0), list.palette().color(QPalette::Base));
}

} // namespace
} // namespace tolvar
