#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include "ui/native_text.h"
#include "ui/profile_font.h"
#include "ui/resource_library.h"
#include "ui/shown_text_delegate.h"

namespace tolvar {
namespace {

TEST(ResourceLibrary, IsTakenFromTheFirstFolderThatHasIt)
{
    const QTemporaryDir empty;
    const QTemporaryDir damaged;
    QFile file(damaged.filePath("theme.rcc"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("this is no library");
    file.close();
    const QString program = QCoreApplication::applicationDirPath();
    ResourceLibrary library;
    EXPECT_FALSE(library.Load({empty.path(), damaged.path()}, "theme", "/theme"));
    EXPECT_FALSE(library.IsLoaded());
    EXPECT_TRUE(library.Load({empty.path(), damaged.path(), program}, "theme", "/theme"));
    EXPECT_FALSE(library.Icon(IconId::kKey).isNull());
    EXPECT_TRUE(library.Icon(IconId{999}).isNull());
    EXPECT_NE(library.Number(ThemeTextId::kViewColor), 0U);
    EXPECT_EQ(library.String(TextId{1}), QString());
    library.Free();
    EXPECT_TRUE(library.Icon(IconId::kKey).isNull());
}

TEST(NativeText, BringsBackEveryUnit)
{
    QString text;
    for (int unit = 0; unit <= 0xFFFF; ++unit) {
        text.append(QChar(unit));
        text.append(u'-'); // so that no two surrogates make a pair
    }
    EXPECT_EQ(ToQString(FromQString(text)), text);
}

TEST(ShownText, PicturesControlCharactersAndCutsWhatIsTooLong)
{
    EXPECT_EQ(ShownText(QStringLiteral("a\nb\x7F"), 10), QStringLiteral(u"a\u240Ab\u2421"));
    EXPECT_EQ(ShownText(QStringLiteral("abcdef"), 3), QStringLiteral(u"abc\u2026"));
    EXPECT_EQ(ShownText(QStringLiteral("abc"), 3), QStringLiteral("abc"));
}

TEST(ThemeColor, HasItsRedInTheLowestByte)
{
    EXPECT_EQ(ColorFromNumber(0x00030201), QColor(1, 2, 3));
}

} // namespace
} // namespace tolvar
