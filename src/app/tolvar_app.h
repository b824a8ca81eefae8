#pragma once

#include <memory>
#include <string>

#include <QTimer>
#include <QTranslator>

#include "app/settings_profile.h"
#include "app/studio_options.h"
#include "panes/command_ids.h"
#include "session/source_session.h"
#include "ui/resource_library.h"
#include "ui/window_context.h"

namespace tolvar {

class CFileOpener;
class CMainFrame;

/// The application object: brings the system up in a fixed order, and holds what outlives every window.
class CTolvarApp {
public:
    explicit CTolvarApp(StudioOptions options);
    ~CTolvarApp();
    CTolvarApp(const CTolvarApp&) = delete;
    CTolvarApp& operator=(const CTolvarApp&) = delete;

    /// Opens what the options name, settles the environment and shows the window. False: the program is to end.
    [[nodiscard]] bool InitInstance();

    /// Closes the window and frees what InitInstance loaded.
    void ExitInstance();

    /// Renders the window into the picture that the options name. False, and said on standard error, if that fails.
    [[nodiscard]] bool TakeScreenshot();

    [[nodiscard]] CMainFrame& Frame() { return *m_pFrame; }

private:
    /// Why the environment does not let the program start.
    enum class Environment { kReady, kRefused, kIncomplete };

    [[nodiscard]] Environment SettleEnvironment();
    [[nodiscard]] bool LoadLanguage(const QStringList& folders);
    void MountHives();
    void OpenDocument();
    [[nodiscard]] bool StartStudio(const QString& hive) const;
    [[nodiscard]] bool ImportNamedDocuments();
    void FlushChanges();
    void ShowProblem(const Error& error);
    void ShowFirstKey();
    void LoadToolkitTexts();
    void OnCommand(CommandId command);
    void UpdateProgram();

    StudioOptions m_options;
    SettingsProfile m_profile;
    SourceSession m_source;
    ResourceLibrary m_language;
    ResourceLibrary m_theme;
    std::unique_ptr<WindowContext> m_pContext;
    std::unique_ptr<CMainFrame> m_pFrame;
    std::unique_ptr<CFileOpener> m_pOpener;
    QTranslator m_toolkitTexts; ///< of the toolkit's own dialogs
    QTimer m_flushTimer;

    int m_nLeftTab = 0;             ///< which tab of the left pane is shown first
    bool m_bRememberLastKey = true; ///< only where the setting holds exactly 1
    std::string m_strTheme;
    bool m_bIsNT = true;
    bool m_bThemed = false;
    std::string m_szLastKey; ///< the key that was shown when the program last ended
};

} // namespace tolvar
