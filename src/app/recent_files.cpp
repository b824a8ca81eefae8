#include "app/recent_files.h"

#include <algorithm>

namespace tolvar {

namespace {

constexpr const char* kSection = "Recent File List";

std::string KeyOf(std::size_t place)
{
    return "File" + std::to_string(place + 1);
}

} // namespace

std::vector<std::string> RecentFiles::List() const
{
    std::vector<std::string> files;
    for (std::size_t place = 0; place < kCount; ++place) {
        if (std::string file = m_profile.GetString(kSection, KeyOf(place)); !file.empty()) {
            files.push_back(std::move(file));
        }
    }
    return files;
}

void RecentFiles::Add(const std::string& file)
{
    std::vector<std::string> files = List();
    std::erase(files, file);
    files.insert(files.begin(), file);
    Store(files);
}

void RecentFiles::Remove(const std::string& file)
{
    std::vector<std::string> files = List();
    std::erase(files, file);
    Store(files);
}

void RecentFiles::Store(const std::vector<std::string>& files)
{
    for (std::size_t place = 0; place < kCount; ++place) {
        m_profile.WriteString(kSection, KeyOf(place), place < files.size() ? files[place] : std::string());
    }
}

} // namespace tolvar
