#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "frame/commands.h"
#include "ui/resource_library.h"

namespace tolvar {
namespace {

/// Whether an enumerator has that value: the compiler prints a value without one as "(Type)5".
template <auto id>
consteval bool HasName()
{
    return std::string_view(__PRETTY_FUNCTION__).find("= (") == std::string_view::npos;
}
static_assert(HasName<TextId::kOk>() && !HasName<TextId{1}>());

template <class Id, int first, int... places>
void AppendNamed(std::vector<Id>& ids, std::integer_sequence<int, places...>)
{
    constexpr std::array isNamed = {HasName<Id{first + places}>()...};
    for (int place = 0; place < static_cast<int>(isNamed.size()); ++place) {
        if (isNamed[static_cast<std::size_t>(place)]) {
            ids.push_back(Id{first + place});
        }
    }
}

/// All enumerators from `first` on.
template <class Id, int first, int count>
std::vector<Id> Named()
{
    std::vector<Id> ids;
    AppendNamed<Id, first>(ids, std::make_integer_sequence<int, count>());
    return ids;
}

std::vector<TextId> AllTexts()
{
    std::vector<TextId> texts = Named<TextId, 59137, 3>();
    AppendNamed<TextId, 61440>(texts, std::make_integer_sequence<int, 1024>());
    return texts;
}

std::vector<IconId> AllIcons()
{
    return Named<IconId, 1, 255>();
}

std::vector<MenuId> AllMenus()
{
    return Named<MenuId, 1, 511>();
}

template <class Ids>
std::set<int> NumbersOf(const Ids& ids)
{
    std::set<int> numbers;
    std::ranges::transform(ids, std::inserter(numbers, numbers.end()), [](auto id) { return static_cast<int>(id); });
    return numbers;
}

/// The numbers that the loaded library at `mountPoint` has in one of its parts.
std::set<int> NumbersIn(const QString& mountPoint, const char* part)
{
    QFile file(u':' + mountPoint + QStringLiteral("/library.json"));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    std::set<int> numbers;
    for (const QString& number : QJsonDocument::fromJson(file.readAll()).object().value(part).toObject().keys()) {
        numbers.insert(number.toInt());
    }
    EXPECT_FALSE(numbers.empty()) << part;
    return numbers;
}

/// The places for arguments, "%1" to "%9", sorted: a language may put them in another order.
std::vector<QString> Marks(const QString& text)
{
    static const QRegularExpression mark(QStringLiteral("%[1-9]"));
    std::vector<QString> marks;
    for (auto match = mark.globalMatch(text); match.hasNext();) {
        marks.push_back(match.next().captured());
    }
    std::ranges::sort(marks);
    return marks;
}

class Libraries : public testing::Test {
protected:
    void SetUp() override
    {
        const QStringList folders = {QCoreApplication::applicationDirPath()};
        ASSERT_TRUE(english.Load(folders, "lang/rcenu", "/lang"));
        ASSERT_TRUE(other.Load(folders, "lang/lang", "/other"));
        ASSERT_TRUE(theme.Load(folders, "theme", "/theme"));
    }

    ResourceLibrary english;
    ResourceLibrary other;
    ResourceLibrary theme;
};

TEST_F(Libraries, HaveEveryTextInBothLanguages)
{
    EXPECT_EQ(english.Language(), "en");
    EXPECT_EQ(other.Language(), "de");
    for (const TextId text : AllTexts()) {
        SCOPED_TRACE(static_cast<int>(text));
        EXPECT_FALSE(english.String(text).isEmpty());
        EXPECT_FALSE(other.String(text).isEmpty());
        EXPECT_EQ(Marks(english.String(text)), Marks(other.String(text)));
        EXPECT_EQ(english.String(text).count(u'\n'), other.String(text).count(u'\n'));
    }
    for (const CommandId command : AllCommands()) {
        SCOPED_TRACE(static_cast<int>(command));
        const qsizetype lines = english.String(command).isEmpty() ? 0 : 1; // what it does and its name
        EXPECT_EQ(english.String(command).count(u'\n'), lines);
        EXPECT_EQ(other.String(command).isEmpty(), english.String(command).isEmpty());
        EXPECT_EQ(other.String(command).count(u'\n'), lines);
        EXPECT_EQ(english.Accelerators(command), other.Accelerators(command));
    }
}

TEST_F(Libraries, HaveNothingThatHasNoName)
{
    std::set<int> texts = NumbersOf(AllTexts());
    const std::set<int> commands = NumbersOf(AllCommands());
    texts.insert(commands.begin(), commands.end());
    texts.insert(static_cast<int>(CommandId::kSelectAll)); // of the menu of text fields, which routes nothing
    for (const char* language : {"/lang", "/other"}) {
        EXPECT_THAT(NumbersIn(language, "strings"), testing::Each(testing::AnyOfArray(texts)));
        EXPECT_THAT(NumbersIn(language, "accelerators"), testing::Each(testing::AnyOfArray(commands)));
        EXPECT_EQ(NumbersIn(language, "menus"), NumbersOf(AllMenus()));
    }
    EXPECT_EQ(NumbersIn("/theme", "strings"), NumbersOf(Named<ThemeTextId, 61440, 1024>()));
    EXPECT_EQ(NumbersIn("/theme", "toolbars"), NumbersOf(Named<ToolbarId, 1, 511>()));
    EXPECT_EQ(NumbersIn("/theme", "strips"), NumbersOf(Named<StripId, 1, 511>()));
}

TEST_F(Libraries, HaveAPictureForEveryIconAndAUseForEveryPicture)
{
    std::set<int> used = {132}; // kept for the topics of help
    for (const IconId icon : AllIcons()) {
        const QImage image = theme.Icon(icon).pixmap(16, 16).toImage();
        ASSERT_FALSE(image.isNull()) << static_cast<int>(icon);
        int drawn = 0;
        for (int at = 0; at < 16 * 16; ++at) {
            drawn += image.pixelColor(at % 16, at / 16).alpha() > 128;
        }
        EXPECT_GT(drawn, 60) << static_cast<int>(icon);
        used.insert(static_cast<int>(icon));
    }
    QFile file(":/theme/library.json");
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QJsonObject strips = QJsonDocument::fromJson(file.readAll()).object().value("strips").toObject();
    const QJsonObject strip = strips.value(QString::number(static_cast<int>(StripId::kMenus))).toObject();
    for (auto icon = strip.begin(); icon != strip.end(); ++icon) {
        const CommandId command{icon.key().toInt()};
        EXPECT_THAT(AllCommands(), testing::Contains(command)) << icon.key().toStdString();
        EXPECT_FALSE(theme.StripIcon(StripId::kMenus, command).isNull()) << icon.key().toStdString();
        used.insert(icon.value().toInt());
    }
    for (const QString& picture : QDir(":/theme/icons").entryList()) {
        EXPECT_TRUE(used.contains(picture.section(u'.', 0, 0).toInt())) << picture.toStdString();
    }
}

TEST_F(Libraries, ExplainEveryCommandOfTheToolbar)
{
    for (const CommandId command : theme.Toolbar(ToolbarId::kMain)) {
        if (command != CommandId{}) {
            EXPECT_FALSE(english.String(command).isEmpty()) << static_cast<int>(command);
            EXPECT_FALSE(theme.StripIcon(StripId::kMenus, command).isNull()) << static_cast<int>(command);
        }
    }
}

TEST_F(Libraries, GiveNoKeyToTwoCommands)
{
    std::set<QKeySequence> keys;
    for (const CommandId command : AllCommands()) {
        for (const QKeySequence& key : english.Accelerators(command)) {
            EXPECT_TRUE(keys.insert(key).second) << key.toString().toStdString();
        }
    }
    EXPECT_FALSE(keys.empty());
}

/// "12 (13 14 )" for a command 12 before a popup with two others.
void AppendShape(QString& shape, const std::vector<MenuItem>& items)
{
    for (const MenuItem& item : items) {
        const int number = static_cast<int>(item.command);
        shape += item.IsSeparator() ? QStringLiteral("- ") : QString::number(number) + u' ';
        if (!item.items.empty()) {
            shape += u'(';
            AppendShape(shape, item.items);
            shape += u')';
        }
        EXPECT_TRUE(item.IsSeparator() || !item.items.empty() || item.command == CommandId::kSelectAll ||
                    std::ranges::find(AllCommands(), item.command) != AllCommands().end())
            << number;
    }
}

/// The letters behind "&" of a popup.
void ExpectOneMnemonicEach(const std::vector<MenuItem>& items)
{
    std::set<QChar> letters;
    for (const MenuItem& item : items) {
        const qsizetype place = item.text.indexOf(u'&');
        if (place >= 0) {
            EXPECT_TRUE(letters.insert(item.text[place + 1].toLower()).second) << item.text.toStdString();
        }
        ExpectOneMnemonicEach(item.items);
    }
}

TEST_F(Libraries, HaveTheSameMenusInBothLanguages)
{
    for (const MenuId menu : AllMenus()) {
        SCOPED_TRACE(static_cast<int>(menu));
        QString shape;
        QString otherShape;
        AppendShape(shape, english.Menu(menu));
        AppendShape(otherShape, other.Menu(menu));
        EXPECT_FALSE(shape.isEmpty());
        EXPECT_EQ(shape, otherShape);
        ExpectOneMnemonicEach(english.Menu(menu));
        ExpectOneMnemonicEach(other.Menu(menu));
    }
}

} // namespace
} // namespace tolvar
