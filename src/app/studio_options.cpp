#include "app/studio_options.h"

#include <map>

#include <CLI/CLI.hpp>

#include "app/file_opener.h"

namespace tolvar {

int StudioOptions::Parse(int argc, char** argv)
{
    constexpr int kWrongUsage = 2;
    CLI::App program("A workbench for Windows registries that are not running.", "tolvar-studio");
    program.set_version_flag("--version", "tolvar-studio " TOLVAR_VERSION);
    std::vector<std::string> files;
    program.add_option("FILE", files, "Hives to open, or .tvr documents to import")->type_name("");
    AddSourceOptions(program, source);
    program.add_option("--key", key, "The key to show first")->type_name("PATH");
    program.add_option("--screenshot", screenshot, "Render the window into a picture, and end")->type_name("FILE");
    const std::map<std::string, Palette> palettes = {
        {"desktop", Palette::kDesktop}, {"light", Palette::kLight}, {"dark", Palette::kDark}};
    program.add_option("--palette", palette, "Colours of the window: desktop, light or dark")
        ->transform(CLI::CheckedTransformer(palettes))
        ->type_name("NAME");
    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return program.exit(error) == 0 ? 0 : kWrongUsage;
    }
    for (const std::string& file : files) {
        (CFileOpener::IsDocument(QString::fromStdString(file)) ? documents : source.hives).push_back(file);
    }
    return kGoOn;
}

} // namespace tolvar
