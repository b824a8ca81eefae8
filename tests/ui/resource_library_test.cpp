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
    EXPECT_FALSE(library.Icon(160).isNull());
    EXPECT_TRUE(library.Icon(999).isNull());
    EXPECT_NE(library.Number(61505), 0U);
    EXPECT_EQ(library.String(1), QString());
    library.Free();
    EXPECT_TRUE(library.Icon(160).isNull());
}

TEST(ResourceLibrary, HasEveryIconAndTextThatThePanesAskFor)
{
    const QStringList folders = {QCoreApplication::applicationDirPath()};
    ResourceLibrary theme;
    ResourceLibrary language;
    ASSERT_TRUE(theme.Load(folders, "theme", "/theme"));
    ASSERT_TRUE(language.Load(folders, "lang/rcenu", "/lang"));
    for (const int icon :
         {102, 128, 131, 132, 133, 134, 149, 150, 151, 152, 153, 154, 155, 156, 157, 158, 159, 160, 161}) {
        const QImage image = theme.Icon(icon).pixmap(16, 16).toImage();
        ASSERT_FALSE(image.isNull()) << icon;
        int drawn = 0;
        for (int at = 0; at < 16 * 16; ++at) {
            drawn += image.pixelColor(at % 16, at / 16).alpha() > 128 ? 1 : 0;
        }
        EXPECT_GT(drawn, 60) << icon;
    }
    for (const int text : {61491, 61502, 61513, 61517, 61527, 61528, 61529, 61617, 61715, 61716, 61734, 61785}) {
        EXPECT_FALSE(language.String(text).isEmpty()) << text;
    }
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
