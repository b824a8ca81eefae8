#include "app/tolvar_app.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>

#include <QApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QMessageBox>
#include <QPixmap>
#include <QProcess>

#include "app/file_opener.h"
#include "frame/main_frame.h"
#include "hexctrl/ui/hex_classes.h"
#include "platform/system/version.h"
#include "ui/native_text.h"

namespace tolvar {

namespace {

constexpr std::chrono::seconds kFlushInterval(5);
constexpr const char* kTitle = "Tolvar Studio";

/// Where the resource libraries lie: beside the program, as in a build, or where an installation puts them.
QStringList ResourceFolders()
{
    const QString program = QCoreApplication::applicationDirPath();
    return {program, program + QStringLiteral("/" TOLVAR_RESOURCES)};
}

} // namespace

CTolvarApp::CTolvarApp(StudioOptions options) : m_options(std::move(options)), m_source(m_options.source, m_profile) {}

CTolvarApp::~CTolvarApp()
{
    ExitInstance();
}

bool CTolvarApp::InitInstance()
{
    RegisterHexClasses();
    switch (SettleEnvironment()) {
    case Environment::kRefused:
        QMessageBox::warning(nullptr, QLatin1String(kTitle),
                             QStringLiteral("This operating system is not supported. Please check for the latest "
                                            "version of Kordo Software Marvek"));
        return false;
    case Environment::kIncomplete:
        QMessageBox::critical(nullptr, QLatin1String(kTitle),
                              QStringLiteral("Missing resource files! Please reinstall the program"));
        std::_Exit(0); // nothing was opened that would want to be closed
    case Environment::kReady:
        break;
    }
    LoadToolkitTexts();
    m_pContext = std::make_unique<WindowContext>(WindowContext{m_profile, m_language, m_theme, m_bIsNT, m_bThemed});
    CTolvarDoc& document =
        m_source.MakeDocument(JournalAccess::kWindow, FromQString(m_language.String(TextId::kDefaultName)));
    m_pFrame = std::make_unique<CMainFrame>(*m_pContext, document);
    m_source.OpenRegistry().SetObserver(m_pFrame.get());
    m_pOpener = std::make_unique<CFileOpener>(*m_pContext, *m_pFrame,
                                              [this](const QString& hive) { return StartStudio(hive); });
    QObject::connect(m_pFrame.get(), &CMainFrame::ApplicationCommand, m_pFrame.get(),
                     [this](CommandId command) { OnCommand(command); });
    MountHives();
    OpenDocument();
    m_pFrame->ActivateFrame();
    ShowFirstKey(); // into panes that have their size
    return !ImportNamedDocuments();
}

void CTolvarApp::OpenDocument()
{
    const bool isToldAlready = m_source.IsInUse();
    const Result<std::vector<SourceProblem>> opened = m_source.OpenDocument();
    if (!opened && !(isToldAlready && opened.error().code == ErrorCode::kSharingViolation)) {
        ShowProblem(opened.error());
    }
    for (const SourceProblem& problem : opened.value_or(std::vector<SourceProblem>())) {
        ShowProblem(problem.error);
    }
    m_pFrame->OnInitialUpdate();
}

/// Answers whether there was one: then it is all that the program was started for.
bool CTolvarApp::ImportNamedDocuments()
{
    bool isOne = false;
    for (const std::string& file : m_options.documents) {
        m_pOpener->ImportDocument(ToQString(file));
        isOne = true;
    }
    return isOne;
}

bool CTolvarApp::StartStudio(const QString& hive) const
{
    QStringList arguments = {QStringLiteral("--hive"), hive};
    if (m_options.source.isReadOnly) {
        arguments.append(QStringLiteral("--read-only"));
    }
    if (m_options.palette != StudioOptions::Palette::kDesktop) {
        const bool isDark = m_options.palette == StudioOptions::Palette::kDark;
        arguments.append({QStringLiteral("--palette"), isDark ? QStringLiteral("dark") : QStringLiteral("light")});
    }
    return QProcess::startDetached(QCoreApplication::applicationFilePath(), arguments);
}

void CTolvarApp::OnCommand(CommandId command)
{
    switch (command) {
    case CommandId::kFileNew:
        m_pFrame->ShowRoots();
        break;
    case CommandId::kFileOpen:
        m_pOpener->AskAndOpen();
        break;
    case CommandId::kExit:
        m_pFrame->close();
        break;
    case CommandId::kUpdateProgram:
        UpdateProgram();
        break;
    default:
        break;
    }
}

void CTolvarApp::UpdateProgram()
{
    // Whether there is such a program is the installation's business: this one ends all the same, to be replaced.
    QProcess::startDetached(QCoreApplication::applicationDirPath() + QStringLiteral("/update"), {});
    m_pFrame->close();
    QCoreApplication::exit(0);
}

void CTolvarApp::ExitInstance()
{
    m_flushTimer.stop();
    m_pOpener.reset();
    m_source.OpenRegistry().SetObserver(nullptr);
    m_pFrame.reset();
    // Nobody is left to be told of a failure; whatever it was, the next start takes over what the journal has of it.
    static_cast<void>(m_source.Close());
    QCoreApplication::removeTranslator(&m_toolkitTexts);
    UnregisterHexClasses();
    m_language.Free();
    m_theme.Free();
}

CTolvarApp::Environment CTolvarApp::SettleEnvironment()
{
    const PlatformVersion version = GetPlatformVersion();
    m_bIsNT = version.platformId == 2;
    if (m_bIsNT && (version.major > 5 || (version.major == 5 && version.minor > 1))) {
        return Environment::kRefused;
    }
    m_bThemed = !m_profile.GetString(kSettingsSection, "Current Theme").empty();
    const QStringList folders = ResourceFolders();
    m_strTheme = "theme";
    const bool hasTheme =
        m_theme.Load(folders + QStringList(QStringLiteral(".")), ToQString(m_strTheme), QStringLiteral("/theme"));
    m_profile.WriteString({}, "InstallPath", FromQString(QCoreApplication::applicationDirPath()));
    if (!LoadLanguage(folders) || !hasTheme) {
        return Environment::kIncomplete;
    }
    m_bRememberLastKey = m_profile.GetInt(kSettingsSection, "RememberLastKey", 1) == 1;
    m_szLastKey = m_profile.GetString(kSettingsSection, "LOK");
    m_nLeftTab = m_profile.GetInt(kSettingsSection, "Left Tab", 0);
    return Environment::kReady;
}

bool CTolvarApp::LoadLanguage(const QStringList& folders)
{
    const QString english = QStringLiteral("lang/rcenu");
    const bool isEnglish = QLocale().language() == QLocale::English || QLocale().language() == QLocale::C;
    const QString mountPoint = QStringLiteral("/lang");
    return m_language.Load(folders, isEnglish ? english : QStringLiteral("lang/lang"), mountPoint) ||
           m_language.Load(folders + QStringList(QStringLiteral(".")), english, mountPoint);
}

void CTolvarApp::LoadToolkitTexts()
{
    if (m_toolkitTexts.load(QStringLiteral("qtbase_") + m_language.Language(),
                            QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
        QCoreApplication::installTranslator(&m_toolkitTexts);
    }
}

void CTolvarApp::FlushChanges()
{
    if (const Result<void> flushed = m_source.OpenRegistry().Flush(); !flushed) {
        m_flushTimer.stop(); // said once; the next change of the user's says it again
        ShowProblem(flushed.error());
    }
}

/// One program at a time may change a registry; the window holds it as long as it is open. Changes are durable when
/// they are made; what imports bring is made so every few seconds.
void CTolvarApp::MountHives()
{
    for (const SourceProblem& problem : m_source.Mount(SourceAccess::kWriteOrRead)) {
        ShowProblem(problem.error);
    }
    QObject::connect(&m_flushTimer, &QTimer::timeout, m_pFrame.get(), [this] { FlushChanges(); });
    m_flushTimer.start(kFlushInterval);
}

void CTolvarApp::ShowProblem(const Error& error)
{
    // Beside the window and not before it: the rest of the session goes on.
    auto* box = new QMessageBox(error.code == ErrorCode::kSuccess ? QMessageBox::Warning : QMessageBox::Critical,
                                m_language.String(TextId::kOpenProblemTitle),
                                ToQString(error.code == ErrorCode::kSuccess ? error.context : Describe(error)),
                                QMessageBox::Ok, m_pFrame.get());
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setTextFormat(Qt::PlainText);
    box->setModal(false);
    QMetaObject::invokeMethod(box, &QWidget::show, Qt::QueuedConnection);
}

void CTolvarApp::ShowFirstKey()
{
    if (!m_options.key.empty() && m_pFrame->GoToKey(m_options.key)) {
        return;
    }
    if (!m_options.key.empty()) {
        ShowProblem({ErrorCode::kFileNotFound, m_options.key});
    }
    constexpr int kKeyTreeTab = 0;
    if (m_bRememberLastKey && !m_szLastKey.empty() && m_nLeftTab == kKeyTreeTab && m_pFrame->GoToKey(m_szLastKey)) {
        return;
    }
    if (m_source.FirstMount().empty() || !m_pFrame->GoToKey(m_source.FirstMount())) {
        m_pFrame->ShowRoots();
    }
}

bool CTolvarApp::TakeScreenshot()
{
    QApplication::processEvents();
    QApplication::processEvents(); // the first round queues the second one's layout
    if (m_pFrame->grab().save(QString::fromStdString(m_options.screenshot))) {
        return true;
    }
    std::fprintf(stderr, "tolvar-studio: %s: the picture could not be written\n", m_options.screenshot.c_str());
    return false;
}

} // namespace tolvar
