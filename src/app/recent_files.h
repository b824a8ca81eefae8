#pragma once

#include <string>
#include <vector>

#include "platform/system/profile.h"

namespace tolvar {

/// The files that were opened last, newest first, at most kCount. They are read from the profile and kept there.
class RecentFiles {
public:
    static constexpr std::size_t kCount = 4;

    explicit RecentFiles(Profile& profile) : m_profile(profile) {}

    [[nodiscard]] std::vector<std::string> List() const;

    /// Puts a file at the head of the list.
    void Add(const std::string& file);

    /// Takes a file out, because it is there no more.
    void Remove(const std::string& file);

private:
    void Store(const std::vector<std::string>& files);

    Profile& m_profile;
};

} // namespace tolvar
