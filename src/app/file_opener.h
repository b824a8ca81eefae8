#pragma once

#include <functional>

#include <QObject>

#include "app/recent_files.h"
#include "ui/window_context.h"

class QMenu;

namespace tolvar {

class CMainFrame;

/// Opens files for the frame, however the user has named them: by the dialog, the list of recent files, a drop or the
/// command line. A Tolvar document is imported into the registry. Any other file is a registry of its own, with a
/// journal of its own, and opens in a window of its own.
class CFileOpener final : public QObject {
    Q_OBJECT

public:
    /// Starts another window over a hive, and answers whether that could be done.
    using StartStudio = std::function<bool(const QString& hive)>;

    /// `context` and `frame` must outlive the opener.
    CFileOpener(const WindowContext& context, CMainFrame& frame, StartStudio startStudio);

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
    CMainFrame& m_frame;
    StartStudio m_startStudio;
    RecentFiles m_recent;
    QMenu* m_pRecentMenu; ///< of the frame
};

} // namespace tolvar
