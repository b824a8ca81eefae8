#pragma once

#include <functional>
#include <string>

#include <QObject>

#include "app/recent_files.h"
#include "platform/registry/registry.h"
#include "ui/window_context.h"

class QMenu;

namespace tolvar {

class CMainFrame;

/// Opens files for the frame, however the user has named them: by the dialog, the list of recent files, a drop or the
/// command line. A Tolvar document is imported into the registry, any other file is mounted as a hive.
class CFileOpener final : public QObject {
    Q_OBJECT

public:
    using ShowProblem = std::function<void(const Error& error)>;

    /// All of it must outlive the opener. `mode`: how hives are mounted.
    CFileOpener(const WindowContext& context, Registry& registry, MountMode mode, CMainFrame& frame,
                ShowProblem showProblem);

    /// Asks the user for files, and opens them.
    void AskAndOpen();

    void Open(const QStringList& files);

    /// Whether a file is a Tolvar document: its name ends in ".tvr", in whatever case.
    [[nodiscard]] static bool IsDocument(const QString& file);

    /// Asks whether to import a document, does it on Yes, and tells how it went.
    void ImportDocument(const QString& file);

private:
    void OpenHive(const QString& file);
    void FillRecent();

    const WindowContext& m_context;
    Registry& m_registry;
    MountMode m_mode;
    CMainFrame& m_frame;
    ShowProblem m_showProblem;
    RecentFiles m_recent;
    QMenu* m_pRecentMenu; ///< of the frame
};

} // namespace tolvar
