#pragma once

#include <string>
#include <vector>

#include "session/source_options.h"

namespace tolvar {

/// What the user asked for on the command line.
struct StudioOptions {
    enum class Palette { kDesktop, kLight, kDark };

    std::vector<std::string> documents; ///< to import
    SourceOptions source;
    std::string key;        ///< the key to show first; empty: the last one
    std::string screenshot; ///< render the window into this picture, and end
    Palette palette = Palette::kDesktop;

    /// Takes the arguments apart. Files without an option before them are documents where their names end in ".tvr",
    /// and else hives. A number: the program is to end with that exit status, and all was said.
    [[nodiscard]] int Parse(int argc, char** argv);

    static constexpr int kGoOn = -1; ///< Parse's answer when the program is to start
};

} // namespace tolvar
