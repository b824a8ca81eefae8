#include "app/file_opener.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QMenu>
#include <QMessageBox>

#include "frame/main_frame.h"
#include "key_text/read_key_text.h"
#include "panes/pane_messages.h"
#include "platform/registry/registry.h"
#include "ui/native_text.h"
#include "ui/wait_cursor.h"

namespace tolvar {

namespace {

/// Success is told when all of it is on the disk.
Result<KeyTextReading> ImportDurably(const std::filesystem::path& file)
{
    const WaitCursor waiting;
    const ChangeScope gathered;
    Result<KeyTextReading> reading = ReadKeyFile(file);
    const Result<void> flushed = Registry::Current() != nullptr ? Registry::Current()->Flush() : Result<void>();
    return flushed ? reading : tl::unexpected(flushed.error());
}

} // namespace

CFileOpener::CFileOpener(const WindowContext& context, CMainFrame& frame, StartStudio startStudio)
    : m_context(context), m_frame(frame), m_startStudio(std::move(startStudio)), m_recent(context.profile),
      m_pRecentMenu(frame.Router().Popup(CommandId::kRecentFiles))
{
    connect(&frame, &CMainFrame::FilesDropped, this, &CFileOpener::Open);
    if (m_pRecentMenu != nullptr) {
        connect(m_pRecentMenu, &QMenu::aboutToShow, this, &CFileOpener::FillRecent);
        FillRecent();
    }
}

void CFileOpener::AskAndOpen()
{
    const QStringList recent =
        m_recent.List().empty() ? QStringList() : QStringList(ToQString(m_recent.List().front()));
    const QString folder = recent.isEmpty() ? QString() : QFileInfo(recent.front()).absolutePath();
    Open(QFileDialog::getOpenFileNames(&m_frame, m_context.language.String(TextId::kOpenTitle), folder,
                                       m_context.language.String(TextId::kOpenFilter)));
}

void CFileOpener::Open(const QStringList& files)
{
    for (const QString& file : files) {
        const QString path = QFileInfo(file).absoluteFilePath();
        if (IsDocument(path)) {
            ImportDocument(path);
        } else {
            OpenHive(path);
        }
    }
}

bool CFileOpener::IsDocument(const QString& file)
{
    return file.endsWith(QStringLiteral(".tvr"), Qt::CaseInsensitive);
}

void CFileOpener::ImportDocument(const QString& file)
{
    const QString title = m_context.language.String(TextId::kOpenTitle);
    const QString name = QFileInfo(file).fileName();
    if (QMessageBox::question(&m_frame, title, m_context.language.String(TextId::kImportQuestion).arg(name)) !=
        QMessageBox::Yes) {
        return;
    }
    const Result<KeyTextReading> reading = ImportDurably(file.toStdString());
    DeleteValueMessage showAgain(nullptr);
    m_frame.Route(m_frame, showAgain);
    const bool isWhole = reading && reading->skipped == 0;
    if (reading) {
        m_recent.Add(FromQString(file));
    } else {
        m_recent.Remove(FromQString(file));
    }
    QString text = m_context.language.String(isWhole ? TextId::kImported : TextId::kNotImported);
    if (!reading) {
        text += QStringLiteral("\n\n") + ToQString(Describe(reading.error()));
    }
    QMessageBox::warning(&m_frame, title, text);
}

void CFileOpener::OpenHive(const QString& file)
{
    if (QFileInfo(file).isFile() && m_startStudio(file)) {
        m_recent.Add(FromQString(file));
        return;
    }
    m_recent.Remove(FromQString(file));
    QMessageBox::critical(&m_frame, m_context.language.String(TextId::kOpenTitle),
                          m_context.language.String(TextId::kCanNotOpen).arg(file));
}

void CFileOpener::FillRecent()
{
    const std::vector<std::string> files = m_recent.List();
    m_pRecentMenu->clear();
    m_pRecentMenu->setEnabled(!files.empty());
    for (std::size_t place = 0; place < files.size(); ++place) {
        const QString file = ToQString(files[place]);
        QString text = file;
        text.replace(u'&', QStringLiteral("&&"));
        connect(m_pRecentMenu->addAction(QStringLiteral("&%1  %2").arg(place + 1).arg(text)), &QAction::triggered, this,
                [this, file] { Open({file}); });
    }
}

} // namespace tolvar
