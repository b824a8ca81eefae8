#pragma once

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <QApplication>
#include <QKeyEvent>

#include "app/settings_profile.h"
#include "frame/main_frame.h"
#include "journal/tolvar_doc.h"
#include "keytree/key_tree.h"
#include "platform/registry/registry.h"
#include "ui/resource_library.h"
#include "valuelist/value_list.h"

namespace tolvar::bench {

/// The real window over a hive, and a person at its keys. The program ends where the window can't be made.
class BenchWindow {
public:
    using Clock = std::chrono::steady_clock;

    /// `journal`: a journal to be shown; without a folder there is none.
    BenchWindow(const char* hive, MountMode mode, JournalOptions journal = {}) : m_document(std::move(journal))
    {
        const QStringList folders = {QCoreApplication::applicationDirPath()};
        if (!m_language.Load(folders, QStringLiteral("lang/rcenu"), QStringLiteral("/lang")) ||
            !m_theme.Load(folders, QStringLiteral("theme"), QStringLiteral("/theme")) ||
            !registry.Mount({hive, "HKEY_LOCAL_MACHINE\\X"}, mode)) {
            std::fprintf(stderr, "the resource libraries or the hive can't be opened\n");
            std::exit(1);
        }
        static_cast<void>(m_document.OnNewDocument()); // without a folder it stays empty, and nothing is changed
        frame.OnInitialUpdate();
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

    CTolvarDoc m_document;

public:
    CMainFrame frame{m_context, m_document};
};

} // namespace tolvar::bench
