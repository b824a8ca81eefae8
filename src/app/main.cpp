#include <QApplication>

#include "app/tolvar_app.h"
#include "app/window_palette.h"
#include "platform/system/standard_streams.h"

int main(int argc, char** argv)
{
    tolvar::HoldStandardStreams();
    tolvar::StudioOptions options;
    if (const int status = options.Parse(argc, argv); status != tolvar::StudioOptions::kGoOn) {
        return status;
    }
    int noArguments = 1; // Qt would take some of them for its own
    QApplication application(noArguments, argv);
    QApplication::setApplicationName(QStringLiteral("tolvar-studio"));
    QApplication::setApplicationDisplayName(QString());
    tolvar::ApplyPalette(options.palette);
    const bool takesScreenshot = !options.screenshot.empty();
    tolvar::CTolvarApp studio(std::move(options));
    if (!studio.InitInstance()) {
        return 0;
    }
    if (takesScreenshot) {
        return studio.TakeScreenshot() ? 0 : 1;
    }
    return QApplication::exec();
}
