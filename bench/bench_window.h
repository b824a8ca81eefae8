#pragma once

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <QApplication>
#include <QKeyEvent>

#include "app/main_frame.h"
#include "app/settings_profile.h"
#include "keytree/key_tree.h"
#include "platform/registry/registry.h"
#include "ui/resource_library.h"
#include "valuelist/value_list.h"

namespace tolvar::bench {

/// The real window over a hive, and a person at its keys. The program ends where the window can't be made.
class BenchWindow {
public:
    using Clock = std::chrono::steady_clock;

    BenchWindow(const char* hive, MountMode mode)
    {
        const QStringList folders = {QCoreApplication::applicationDirPath()};
        if (!m_language.Load(folders, QStringLiteral("lang/rcenu"), QStringLiteral("/lang")) ||
            !m_theme.Load(folders, QStringLiteral("theme"), QStringLiteral("/theme")) ||
            !registry.Mount({hive, "HKEY_LOCAL_MACHINE\\X"}, mode)) {
            std::fprintf(stderr, "the resource libraries or the hive can't be opened\n");
            std::exit(1);
        }
        frame.ActivateFrame();
        Settle();
    }

    static void Settle() { QApplication::processEvents(); }

    /// Milliseconds from a key press to the picture that has its result in it.
    double Press(QWidget& widget, Qt::Key key)
    {
        const auto start = Clock::now();
        QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
        QCoreApplication::sendEvent(&widget, &press);
        Settle();
        frame.repaint();
        return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    }

    Registry registry;

private:
    Session m_session{registry};
    SettingsProfile m_profile;
    ResourceLibrary m_language;
    ResourceLibrary m_theme;
    WindowContext m_context{m_profile, m_language, m_theme};

    CTolvarDoc m_document{JournalOptions{}}; ///< never opened: nothing is changed

public:
    CMainFrame frame{m_context, m_document};
};

} // namespace tolvar::bench
