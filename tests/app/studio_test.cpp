#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QLocale>
#include <QMenuBar>
#include <QMessageBox>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/tolvar_app.h"
#include "fixtures/hive_builder.h"
#include "fixtures/window_fixture.h"
#include "frame/main_frame.h"
#include "keytree/key_tree.h"
#include "ui/native_text.h"
#include "valuelist/value_list.h"

namespace tolvar {
namespace {

using fixtures::BuiltKey;
using fixtures::HiveBuilder;

/// The studio over a hive of its own, with settings that are gone after the test.
class Studio : public testing::Test {
protected:
    Studio()
    {
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_folder.path());
        QSettings(QStringLiteral("Kordo"), QStringLiteral("Tolvar")).clear();
        WriteHive("good",
                  HiveBuilder().Build({.name = u"ROOT", .subkeys = {{.name = u"a", .subkeys = {{.name = u"b"}}}}}));
    }
    ~Studio() override { unsetenv("TOLVAR_PLATFORM"); }

    std::string WriteHive(const char* name, const std::vector<std::byte>& bytes)
    {
        const std::string file = m_folder.filePath(QLatin1String(name)).toStdString();
        std::ofstream(file, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), std::ssize(bytes));
        return file;
    }

    StudioOptions Options(std::vector<const char*> hives = {"good"})
    {
        StudioOptions options;
        for (const char* hive : hives) {
            options.source.hives.push_back(m_folder.filePath(QLatin1String(hive)).toStdString() + "@HKEY_USERS\\" +
                                           hive);
        }
        return options;
    }

    void Set(const char* key, const QVariant& value)
    {
        QSettings(QStringLiteral("Kordo"), QStringLiteral("Tolvar")).setValue(QStringLiteral("settings/") + key, value);
    }

    static std::vector<std::string> OpenMessages()
    {
        QApplication::processEvents();
        std::vector<std::string> texts;
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            if (const auto* box = qobject_cast<QMessageBox*>(widget); box != nullptr && box->isVisible()) {
                texts.push_back(box->text().toStdString());
            }
        }
        return texts;
    }

    QTemporaryDir m_folder;
};

TEST_F(Studio, ShowsTheHiveThatItWasGiven)
{
    CTolvarApp app(Options());
    ASSERT_TRUE(app.InitInstance());
    EXPECT_EQ(app.Frame().StatusText(), QStringLiteral("HKEY_USERS\\good"));
    EXPECT_EQ(app.Frame().windowTitle(), QStringLiteral(u"Kordo \u00AE Software - Tolvar Studio 0.1"));
    EXPECT_TRUE(app.Frame().GoToKey("HKEY_USERS\\good\\a"));
    EXPECT_EQ(app.Frame().findChild<CValueList*>()->Model().rowCount(), 2);
    EXPECT_FALSE(app.Frame().GoToKey("HKEY_USERS\\none"));
}

TEST_F(Studio, ComesBackToTheLastKeyOnlyWhereThatIsWanted)
{
    {
        CTolvarApp app(Options());
        ASSERT_TRUE(app.InitInstance());
        app.Frame().GoToKey("HKEY_USERS\\good\\a\\b");
    }
    struct Case {
        const char* setting;
        int value;
        const char* shown;
    };
    for (const Case& c : {
             Case{"RememberLastKey", 1, "HKEY_USERS\\good\\a\\b"},
             Case{"RememberLastKey", 2, "HKEY_USERS\\good"}, // only 1 is on
             Case{"Left Tab", 1, "HKEY_USERS\\good"},
         }) {
        SCOPED_TRACE(c.setting);
        Set("RememberLastKey", 1);
        Set("Left Tab", 0);
        Set("LOK", QStringLiteral("HKEY_USERS\\good\\a\\b"));
        Set(c.setting, c.value);
        CTolvarApp app(Options());
        ASSERT_TRUE(app.InitInstance());
        EXPECT_EQ(app.Frame().StatusText(), QLatin1String(c.shown));
    }
}

TEST_F(Studio, RunsOnThePlatformsThatItSupports)
{
    for (const auto& [platform, isSupported] :
         {std::pair{"9x", true}, {"4.0", true}, {"5.1", true}, {"5.2", false}, {"6.0", false}, {"10.0", false}}) {
        SCOPED_TRACE(platform);
        setenv("TOLVAR_PLATFORM", platform, 1);
        CTolvarApp app(Options());
        bool isReady = false;
        const std::string message = fixtures::AnswerMessage(QMessageBox::Ok, [&] { isReady = app.InitInstance(); });
        EXPECT_EQ(isReady, isSupported);
        EXPECT_EQ(message, isSupported ? ""
                                       : "This operating system is not supported. Please check for the latest version "
                                         "of Kordo Software Marvek");
    }
}

TEST_F(Studio, TellsOfAHiveThatCanNotBeOpenedAndShowsTheOthers)
{
    WriteHive("text", std::vector<std::byte>(9000, std::byte{'x'}));
    std::vector<std::byte> cut =
        HiveBuilder().Build({.name = u"ROOT", .values = {{u"v", 3, std::vector<std::byte>(9000)}}});
    cut.resize(cut.size() - 4096);
    WriteHive("cut", cut);
    CTolvarApp app(Options({"text", "missing", "cut", "good"}));
    ASSERT_TRUE(app.InitInstance());
    EXPECT_THAT(OpenMessages(), testing::UnorderedElementsAre(testing::HasSubstr("no registry hive"),
                                                              testing::HasSubstr("cannot find the file"),
                                                              testing::HasSubstr("truncated")));
    EXPECT_TRUE(app.Frame().GoToKey("HKEY_USERS\\good\\a"));
    EXPECT_TRUE(app.Frame().GoToKey("HKEY_USERS\\cut"));
    app.ExitInstance();
    EXPECT_TRUE(OpenMessages().empty());
}

TEST_F(Studio, LetsTheListLeadTheTree)
{
    CTolvarApp app(Options());
    ASSERT_TRUE(app.InitInstance());
    app.Frame().ShowRoots();
    CValueList& list = *app.Frame().findChild<CValueList*>();
    list.setCurrentIndex(list.Model().index(3, 0)); // HKEY_USERS
    QTest::keyClick(&list, Qt::Key_Return);
    EXPECT_EQ(app.Frame().StatusText(), QStringLiteral("HKEY_USERS"));
    list.setCurrentIndex(list.Model().index(0, 0)); // up again, to the list of roots
    QTest::keyClick(&list, Qt::Key_Return);
    EXPECT_EQ(list.Model().Rows().Row(0).kind, KeyRow::Kind::kRootKey);
}

TEST_F(Studio, SpeaksTheLanguageOfItsUser)
{
    for (const auto& [locale, title] : {std::pair{QLocale::English, "&File"},
                                        {QLocale::German, "&Datei"},
                                        {QLocale::French, "&Datei"},
                                        {QLocale::C, "&File"}}) {
        QLocale::setDefault(QLocale(locale));
        CTolvarApp app(Options());
        ASSERT_TRUE(app.InitInstance());
        EXPECT_EQ(app.Frame().menuBar()->actions().front()->text(), QString::fromUtf8(title));
    }
    QLocale::setDefault(QLocale::c());
}

TEST_F(Studio, ImportsADocumentAndEnds)
{
    const std::string text = "[HKEY_USERS\\good\\imported]\r\nname=1:text\r\n";
    WriteHive("x.TVR", {reinterpret_cast<const std::byte*>(text.data()),
                        reinterpret_cast<const std::byte*>(text.data() + text.size())});
    StudioOptions options = Options();
    options.documents = {m_folder.filePath(QStringLiteral("x.TVR")).toStdString()};
    std::vector<std::string> questions;
    QTimer yes;
    QObject::connect(&yes, &QTimer::timeout, [&] {
        if (auto* const box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
            questions.push_back(box->text().toStdString());
            box->button(questions.size() == 1 ? QMessageBox::Yes : QMessageBox::Ok)->click();
        }
    });
    yes.start(1);
    CTolvarApp app(options);
    EXPECT_FALSE(app.InitInstance()); // it was started for that alone
    yes.stop();
    EXPECT_THAT(questions, testing::ElementsAre(testing::HasSubstr("import x.TVR?"), "The file was imported."));
    EXPECT_TRUE(app.Frame().GoToKey("HKEY_USERS\\good\\imported"));
}

TEST_F(Studio, TakesFilesForWhatTheyAre)
{
    const char* arguments[] = {"tolvar-studio", "--read-only", "SOFTWARE", "x.Tvr", "y.hive@HKEY_USERS\\Y"};
    StudioOptions options;
    EXPECT_EQ(options.Parse(static_cast<int>(std::size(arguments)), const_cast<char**>(arguments)),
              StudioOptions::kGoOn);
    EXPECT_THAT(options.documents, testing::ElementsAre("x.Tvr"));
    EXPECT_THAT(options.source.hives, testing::ElementsAre("SOFTWARE", "y.hive@HKEY_USERS\\Y"));
}

TEST_F(Studio, RewritesItsFolderIntoTheSettingsAtEveryStart)
{
    QSettings settings(QStringLiteral("Kordo"), QStringLiteral("Tolvar"));
    settings.setValue(QStringLiteral("InstallPath"), QStringLiteral("elsewhere"));
    settings.sync();
    CTolvarApp app(Options());
    ASSERT_TRUE(app.InitInstance());
    app.ExitInstance();
    settings.sync();
    EXPECT_EQ(QSettings(QStringLiteral("Kordo"), QStringLiteral("Tolvar")).value(QStringLiteral("InstallPath")),
              QCoreApplication::applicationDirPath());
}

} // namespace
} // namespace tolvar
