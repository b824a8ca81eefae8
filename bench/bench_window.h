#pragma once

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <QApplication>
#include <QKeyEvent>
#include <QTemporaryDir>

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

    /// `journal`: a journal to be shown; without a folder it is an empty one, gone at the end.
    BenchWindow(const char* hive, MountMode mode, JournalOptions journal = {})
        : m_document(InFolder(std::move(journal), m_folder.filePath("journal").toStdString()))
    {
        const QStringList folders = {QCoreApplication::applicationDirPath()};
        if (!m_language.Load(folders, QStringLiteral("lang/rcenu"), QStringLiteral("/lang")) ||
            !m_theme.Load(folders, QStringLiteral("theme"), QStringLiteral("/theme")) ||
            !registry.Mount({hive, "HKEY_LOCAL_MACHINE\\X"}, mode)) {
            std::fprintf(stderr, "the resource libraries or the hive can't be opened\n");
            std::exit(1);
        }
        static_cast<void>(m_document.OnNewDocument()); // one that can't be read is shown as an empty one
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
    static JournalOptions InFolder(JournalOptions journal, std::filesystem::path folder)
    {
        if (journal.place.dataFolder.empty()) {
            journal.place.dataFolder = std::move(folder);
        }
        return journal;
    }

    QTemporaryDir m_folder;
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
