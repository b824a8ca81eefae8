// Times what a person does all day, in the real window and from the key press to the painted picture:
//
//   browse_keys values FILE   makes FILE, a hive with a key of 100,000 values and 300 keys of 200; prints the
//   milliseconds
//                             of selecting the large key, of a page of scrolling in it, and of a selection with the
//                             arrow key: median and worst
//   browse_keys texts HIVE    prints the milliseconds of selecting a key with 60 texts of 1 MB, and one with a text of
//                             100 MB
//   browse_keys journal HIVE  a journal of 100,000 records is shown; prints the milliseconds of a page of scrolling in
//   it:
//                             median and worst
//   browse_keys memory HIVE   opens and selects 1,000 keys; prints the megabytes that the process has grown by since it
//                             started with the hive mapped, its file's own pages not counted

#include <algorithm>
#include <cstring>
#include <fstream>
#include <string_view>
#include <vector>

#include <QTemporaryDir>

#include "bench_window.h"
#include "journal/index_file.h"
#include "journal/ui/journal_list.h"

namespace tolvar::bench {

namespace {

constexpr int kManyValues = 100'000;
constexpr int kTexts = 60;
constexpr int kKeys = 300;
constexpr int kPages = 200;
constexpr int kRecords = 100'000;
constexpr int kBrowsedKeys = 1000;

struct Times {
    double median;
    double worst;
};

Times Sorted(std::vector<double> times)
{
    std::ranges::sort(times);
    return {times[times.size() / 2], times.back()};
}

int TimeValues(const char* hive)
{
    BenchWindow window(hive, MountMode::kReadOnly);
    CKeyTree& tree = *window.frame.findChild<CKeyTree*>();
    window.frame.GoToKey("HKEY_LOCAL_MACHINE\\X");
    std::vector<double> selections;
    for (int number = 0; number < kKeys; ++number) {
        selections.push_back(window.Press(tree, Qt::Key_Down));
    }
    const double many = window.Press(tree, Qt::Key_Down);
    CValueList& list = *window.frame.findChild<CValueList*>();
    if (list.Model().rowCount() < kManyValues) {
        std::fprintf(stderr, "browse_keys: the large key was not reached\n");
        return 1;
    }
    std::vector<double> pages;
    for (int page = 0; page < kPages; ++page) {
        pages.push_back(window.Press(list, Qt::Key_PageDown));
    }
    const Times selection = Sorted(selections);
    const Times scrolling = Sorted(pages);
    std::printf("%.1f %.2f %.2f %.2f %.2f\n", many, scrolling.median, scrolling.worst, selection.median,
                selection.worst);
    return 0;
}

int TimeTexts(const char* hive)
{
    BenchWindow window(hive, MountMode::kReadOnly);
    CKeyTree& tree = *window.frame.findChild<CKeyTree*>();
    window.frame.GoToKey("HKEY_LOCAL_MACHINE\\X");
    const QAbstractItemModel& list = window.frame.findChild<CValueList*>()->Model();
    constexpr int kOtherRows = 2; // the parent, and the default value that is not set
    const double many = window.Press(tree, Qt::Key_Down);
    const int manyRows = list.rowCount() - kOtherRows;
    const double large = window.Press(tree, Qt::Key_Down);
    if (manyRows != kTexts || list.rowCount() - kOtherRows != 1) {
        std::fprintf(stderr, "browse_keys: the keys of texts were not reached\n");
        return 1;
    }
    std::printf("%.1f %.1f\n", many, large);
    return 0;
}

int TimeJournal(const char* hive)
{
    const QTemporaryDir folder;
    JournalOptions options;
    options.place.dataFolder = folder.path().toStdString();
    options.place.isReadOnly = true;
    JournalIndex index;
    for (int number = 0; number < kRecords; ++number) {
        index.journal.push_back("6;2;HKEY_CURRENT_USER\\Software\\Key" + std::to_string(number) +
                                ";HKEY_CURRENT_USER\\Software;1;Name;Name;somebody;20261124221508123");
    }
    const std::vector<std::byte> bytes = EncodeIndex(index);
    std::ofstream(options.place.dataFolder / "index", std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), std::ssize(bytes));
    BenchWindow window(hive, MountMode::kReadOnly, options);
    constexpr int kJournalOutput = 3;
    if (window.frame.Output() != kJournalOutput) { // the settings may have it open: the command would close it
        window.frame.Router().Run(CommandId::kShowJournal);
    }
    CJournalList& list = *window.frame.findChild<CJournalList*>();
    if (list.model()->rowCount() != kRecords) {
        std::fprintf(stderr, "browse_keys: the journal was not read\n");
        return 1;
    }
    std::vector<double> pages;
    for (int page = 0; page < kPages; ++page) {
        pages.push_back(window.Press(list, Qt::Key_PageDown));
    }
    const Times scrolling = Sorted(pages);
    std::printf("%.2f %.2f\n", scrolling.median, scrolling.worst);
    return 0;
}

/// Kilobytes of this process that are its own, and no page of a file.
long OwnKilobytes()
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("RssAnon:")) {
            return std::atol(line.c_str() + std::strlen("RssAnon:"));
        }
    }
    return 0;
}

int MeasureMemory(const char* hive)
{
    const long before = OwnKilobytes();
    BenchWindow window(hive, MountMode::kReadOnly);
    CKeyTree& tree = *window.frame.findChild<CKeyTree*>();
    window.frame.GoToKey("HKEY_LOCAL_MACHINE\\X");
    for (int key = 0; key < kBrowsedKeys; ++key) {
        window.Press(tree, Qt::Key_Right);
        window.Press(tree, Qt::Key_Down);
    }
    std::printf("%.1f\n", static_cast<double>(OwnKilobytes() - before) / 1024);
    return 0;
}

} // namespace

} // namespace tolvar::bench

int main(int argc, char** argv)
{
    const std::string_view what = argc == 3 ? argv[1] : "";
    const QApplication application(argc, argv);
    if (what == "values") {
        return tolvar::bench::TimeValues(argv[2]);
    }
    if (what == "texts") {
        return tolvar::bench::TimeTexts(argv[2]);
    }
    if (what == "journal") {
        return tolvar::bench::TimeJournal(argv[2]);
    }
    if (what == "memory") {
        return tolvar::bench::MeasureMemory(argv[2]);
    }
    std::fprintf(stderr, "usage: browse_keys values|texts|journal|memory HIVE\n");
    return 2;
}
