#pragma once

namespace tolvar {

/// The help topics, each by the number of the text that names its page's file.
enum class TopicId : int {
    kNone = 0, ///< the page that the browser has
    kTopics = 196,
    kSearch = 198,
    kBookmarks = 202,
    kJournal = 204,
    kKeyTree = 205,
    kValueList = 229,
    kAbout = 240,
};

} // namespace tolvar
