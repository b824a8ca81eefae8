#include <QClipboard>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QHeaderView>
#include <QTest>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/model_watch.h"
#include "fixtures/window_fixture.h"
#include "valuelist/value_list.h"

namespace tolvar {
namespace {

using fixtures::BuiltKey;
using testing::ElementsAre;
using testing::IsEmpty;

class ValueList : public testing::Test {
protected:
    ValueList()
    {
        fixture.Mount("HKEY_USERS\\K", {.name = u"ROOT",
                                        .values = {{u"value", REG_SZ, fixtures::TextData(u"text")}},
                                        .subkeys = {{.name = u"Sub"}}});
    }

    CValueList& List()
    {
        if (!m_pList) {
            m_pList = std::make_unique<CValueList>(fixture.context, &parent);
            m_pWatch = std::make_unique<fixtures::ModelWatch>(*m_pList->model());
        }
        return *m_pList;
    }

    void Close()
    {
        m_pWatch.reset();
        m_pList.reset();
    }

    int Setting(const char* key) { return fixture.profile.GetInt(kSettingsSection, key, -1); }

    std::vector<std::string> Titles()
    {
        std::vector<std::string> titles;
        for (int section = 0; section < List().Model().columnCount(); ++section) {
            titles.push_back(
                List().Model().headerData(section, Qt::Horizontal, Qt::DisplayRole).toString().toStdString());
        }
        return titles;
    }

    void Show(HKEY root, const char* subpath)
    {
        ShowKeyMessage message(root, subpath);
        QCoreApplication::sendEvent(&List(), &message);
    }

    void Run(CommandId command) { List().Run(command); }

    fixtures::WindowFixture fixture;
    fixtures::RecordingParent parent;

private:
    std::unique_ptr<CValueList> m_pList;
    std::unique_ptr<fixtures::ModelWatch> m_pWatch;
};

TEST_F(ValueList, HasTheColumnsOfTheSettingsInTheirFixedOrder)
{
    EXPECT_THAT(Titles(), ElementsAre("Name", "Owner", "Data"));
    for (const CommandId column : {CommandId::kColumnLength, CommandId::kColumnType, CommandId::kColumnLastChange}) {
        Run(column);
    }
    EXPECT_THAT(Titles(), ElementsAre("Name", "Type", "Last change", "Length", "Owner", "Data"));
    Run(CommandId::kColumnOwner);
    Run(CommandId::kColumnLength);
    EXPECT_THAT(Titles(), ElementsAre("Name", "Type", "Last change", "Data"));
    Close();
    EXPECT_THAT(Titles(),
                ElementsAre("Name", "Type", "Last change", "Data")); // a new list reads what the old one wrote
}

TEST_F(ValueList, WritesTheSettingsThatBelongToAToggle)
{
    Run(CommandId::kColumnOwner);
    EXPECT_EQ(Setting("ColumnOwner"), 0);
    EXPECT_EQ(Setting("ColumnType"), -1);
    Run(CommandId::kColumnType);
    EXPECT_EQ(Setting("ColumnType"), 1);
    EXPECT_EQ(Setting("ColumnLastChange"), 0);
    EXPECT_EQ(Setting("ColumnData"), 1);
    EXPECT_EQ(Setting("ShowListKeys"), -1);
    Run(CommandId::kShowKeys);
    EXPECT_EQ(Setting("ShowListKeys"), 1);
}

TEST_F(ValueList, ReadsItsKeyAgainWhenColumnsOrSubkeyRowsChange)
{
    Show(HKEY_USERS, "K");
    EXPECT_EQ(List().Model().rowCount(), 3);
    Run(CommandId::kShowKeys);
    EXPECT_EQ(List().Model().rowCount(), 4);
    fixture.check.refused = {"HKEY_USERS\\K"};
    Run(CommandId::kColumnType);
    EXPECT_EQ(List().Model().rowCount(), 1);
}

TEST_F(ValueList, GivesTheColumnsTheirWidthsWheneverItIsShown)
{
    const auto widths = [this] {
        std::vector<int> sizes;
        for (int section = 0; section < List().header()->count(); ++section) {
            sizes.push_back(List().header()->sectionSize(section));
        }
        return sizes;
    };
    List().resize(400, 200);
    parent.show();
    const auto wide = [this](int width) { return List().ColumnWidth(width); };
    EXPECT_THAT(widths(), ElementsAre(wide(120), wide(95), 800)); // too little room: Data is wider than the list
    Run(CommandId::kColumnOwner);
    Run(CommandId::kColumnOwner);
    EXPECT_THAT(widths(), ElementsAre(wide(120), wide(55), 800));
    List().hide();
    List().resize(900, 200);
    List().show();
    EXPECT_THAT(widths(), ElementsAre(wide(120), wide(95), List().viewport()->width()));
}

TEST_F(ValueList, WritesTheLastKeyWhenItCloses)
{
    struct Case {
        HKEY root;
        const char* subpath;
        const char* lastKey;
    };
    for (const Case& c : {Case{HKEY_USERS, "K\\Sub", "HKEY_USERS\\K\\Sub"}, Case{HKEY_USERS, "", "HKEY_USERS\\"},
                          Case{nullptr, "", ""}}) {
        Show(c.root, c.subpath);
        Close();
        EXPECT_EQ(fixture.profile.GetString(kSettingsSection, "LOK", "?"), c.lastKey);
    }
}

TEST_F(ValueList, SelectsARowByItsName)
{
    Show(HKEY_USERS, "K");
    SelectRowMessage found("value");
    QCoreApplication::sendEvent(&List(), &found);
    EXPECT_EQ(found.result, 0);
    EXPECT_EQ(List().currentIndex().row(), 2);
    EXPECT_TRUE(List().selectionModel()->isRowSelected(2, {}));
    SelectRowMessage missing("Value");
    QCoreApplication::sendEvent(&List(), &missing);
    EXPECT_EQ(missing.result, 1);
    EXPECT_EQ(List().currentIndex().row(), 2);
}

TEST_F(ValueList, CopiesWhatItsRowNames)
{
    Run(CommandId::kShowKeys);
    Show(HKEY_USERS, "K");
    QGuiApplication::clipboard()->setText(QStringLiteral("old"));
    std::vector<std::string> copied;
    for (int row = 0; row < List().Model().rowCount(); ++row) {
        List().setCurrentIndex(List().Model().index(row, 0));
        Run(CommandId::kCopy);
        copied.push_back(QGuiApplication::clipboard()->text().toStdString());
    }
    Show(nullptr, "");
    List().setCurrentIndex(List().Model().index(3, 0));
    Run(CommandId::kCopy);
    copied.push_back(QGuiApplication::clipboard()->text().toStdString());
    EXPECT_THAT(copied, ElementsAre("old", "HKEY_USERS\\K\\Sub", "HKEY_USERS\\K\\\\[]", "HKEY_USERS\\K\\\\[value]",
                                    "HKEY_USERS"));
}

TEST_F(ValueList, LeadsToOtherKeysThroughItsRows)
{
    Run(CommandId::kShowKeys);
    Show(HKEY_USERS, "K");
    for (const int row : {0, 1, 3}) { // parent, subkey, value
        List().setCurrentIndex(List().Model().index(row, 0));
        QTest::keyClick(&List(), Qt::Key_Return);
    }
    Show(nullptr, "");
    List().setCurrentIndex(List().Model().index(3, 0));
    emit List().doubleClicked(List().currentIndex());
    EXPECT_THAT(parent.messages, ElementsAre("go ../../", "go ./Sub", "page 1007", "go ./HKEY_USERS"));
}

/// Lets the test see the hooks.
class OpenList final : public CValueList {
public:
    using CValueList::CValueList;
    using CValueList::SubitemBackColor;
    using CValueList::WantItemNotifications;
};

TEST_F(ValueList, TintsOddRowsOrTheFirstColumn)
{
    for (const bool hasRowColors : {false, true}) {
        fixture.profile.WriteInt(kSettingsSection, "Row Colors", hasRowColors ? 1 : 0);
        const OpenList list(fixture.context, nullptr);
        EXPECT_EQ(list.WantItemNotifications(), hasRowColors);
        for (int row = 0; row < 2; ++row) {
            for (int column = 0; column < 2; ++column) {
                const bool isTinted = hasRowColors ? row == 1 : column == 0;
                EXPECT_EQ(list.SubitemBackColor({{row, {}, 0}, column}), isTinted ? list.Tint() : kUsualColor);
            }
        }
    }
    fixture.context.m_bThemed = true;
    const OpenList themed(fixture.context, nullptr);
    EXPECT_EQ(themed.Tint(), fixture.theme.Number(ThemeTextId::kViewColor));
}

TEST_F(ValueList, SelectsARowUnderTheRestingPointer)
{
    Show(HKEY_USERS, "K");
    List().resize(400, 200);
    List().SetHoverTime(1);
    parent.resize(500, 300);
    parent.show();
    QTest::mouseMove(List().viewport(), List().visualRect(List().Model().index(1, 0)).center());
    EXPECT_TRUE(QTest::qWaitFor([this] { return List().selectionModel()->isRowSelected(1, {}); }));
}

} // namespace
} // namespace tolvar
