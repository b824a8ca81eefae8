// Times the hex control with 64 MiB: the load, each kind of change from the key or message to the painted picture, and
// the search. Prints one line of milliseconds, and the search's speed in MB/s:
//
//   hex_control      load, typed byte, insertion at the start, undo of it, redo, deletion of a byte at the start, page
//   of
//                    scrolling, an undo with many changes in view; find exact (three patterns), find without case

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <random>
#include <string_view>
#include <vector>

#include <QApplication>
#include <QKeyEvent>

#include "hexctrl/hex_find.h"
#include "hexctrl/ui/hex_classes.h"

namespace tolvar::bench {

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::size_t kSize = std::size_t{64} * 1024 * 1024;

double MillisecondsSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

struct Times {
    double median;
    double worst;
};

/// Median and worst time of an action and the painting of what it shows.
template <typename Action>
Times Painted(HexControl& control, const Action& action)
{
    constexpr int kRuns = 51;
    std::vector<double> times;
    for (int run = 0; run < kRuns; ++run) {
        const auto start = Clock::now();
        action();
        QApplication::processEvents();
        control.viewport()->repaint();
        times.push_back(MillisecondsSince(start));
    }
    std::ranges::sort(times);
    return {times[times.size() / 2], times.back()};
}

void Press(HexControl& control, int key, const QString& text)
{
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier, text);
    QCoreApplication::sendEvent(&control, &press);
}

void Print(const char* what, Times times)
{
    std::printf("%-50s %8.2f ms, worst %8.2f ms\n", what, times.median, times.worst);
}

/// The search as hosts start it, with its report of every 100 positions.
void PrintMessageSpeed(HexControl& control)
{
    QObject receiver;
    constexpr std::array<std::uint8_t, 4> kMissing = {'a', 'b', 'c', 0xFF};
    HexFindBlock block;
    block.to = control.Data().Size();
    block.pattern = kMissing.data();
    block.length = kMissing.size();
    block.mode = HexFindMode::kExactBit;
    const auto start = Clock::now();
    control.Send(HexMessage::kFindFirst, reinterpret_cast<quintptr>(&receiver), reinterpret_cast<quintptr>(&block));
    std::printf("%-50s %8.0f MB/s\n", "find 4 bytes by message, with its reports",
                static_cast<double>(kSize) / 1e3 / MillisecondsSince(start));
}

void PrintSpeed(const char* what, const ByteStore& store, const HexPattern& pattern)
{
    std::vector<double> speeds;
    for (int run = 0; run < 9; ++run) {
        const auto start = Clock::now();
        if (FindForward(store, pattern, 0, store.Size())) {
            std::fprintf(stderr, "hex_control: %s should not be found\n", what);
            std::exit(1);
        }
        speeds.push_back(static_cast<double>(kSize) / 1e3 / MillisecondsSince(start));
    }
    std::ranges::sort(speeds);
    std::printf("%-50s %8.0f MB/s, worst %8.0f MB/s\n", what, speeds[speeds.size() / 2], speeds.front());
}

std::vector<std::uint8_t> RandomBytes()
{
    std::vector<std::uint8_t> bytes(kSize);
    std::mt19937_64 random(1);
    for (std::uint8_t& byte : bytes) {
        byte = static_cast<std::uint8_t>(random() % 255); // never 255, so that a pattern can be missing for sure
    }
    return bytes;
}

std::span<const std::uint8_t> Bytes(std::string_view text)
{
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

int Run()
{
    using namespace std::string_view_literals;
    const auto bytes = RandomBytes();
    QWidget host;
    HexControl& control = *CreateHexControl(kHexMemoryClass, &host);
    control.resize(1200, 900);
    host.resize(1200, 900);
    host.show();
    QApplication::processEvents();
    Print("load 64 MiB and paint", Painted(control, [&] { control.LoadBytes(bytes); }));
    Print("typed digit", Painted(control, [&] { Press(control, Qt::Key_A, QStringLiteral("a")); }));
    std::uint8_t one = 1;
    HexDataBlock block{1, 0, 0, &one};
    Print("insertion of a byte at the start", Painted(control, [&] { control.Send(HexMessage::kInsert, &block); }));
    Print("undo of it", Painted(control, [&] { control.Send(HexMessage::kUndo); }));
    Print("redo of it", Painted(control, [&] { control.Send(HexMessage::kRedo); }));
    Print("deletion of a byte at the start", Painted(control, [&] {
              control.PutCaret(0);
              control.Send(HexMessage::kDelete);
          }));
    Print("page of scrolling", Painted(control, [&] { Press(control, Qt::Key_PageDown, {}); }));
    std::mt19937 random(1);
    for (int change = 0; change < 4000;
         ++change) { // scattered over the view, as if typed, each a change of its own to show
        block.position = static_cast<std::int64_t>(random() % control.View().BytesInView());
        control.Send(HexMessage::kInsert, &block);
    }
    Print("undo and painting behind 4,000 insertions in view",
          Painted(control, [&] { control.Send(HexMessage::kUndo); }));
    const ByteStore& store = control.Data().Store();
    PrintSpeed("find 2 bytes", store, HexPattern::Exact(Bytes("a\xFF"sv)));
    PrintSpeed("find 4 bytes", store, HexPattern::Exact(Bytes("abc\xFF"sv)));
    PrintSpeed("find 16 bytes", store, HexPattern::Exact(Bytes("The quick brown\xFF"sv)));
    PrintMessageSpeed(control);
    PrintSpeed("find 8 bytes of text without case", store,
               HexPattern::ByMode(Bytes("abcdefg\xFF"sv), HexFindMode::kTextNoCase));
    control.LoadBytes(std::vector<std::uint8_t>(kSize));
    PrintSpeed("find 4 bytes in zeros", store, HexPattern::Exact(Bytes("\0\0\0\xFF"sv)));
    PrintSpeed("find 16 bytes in zeros", store, HexPattern::Exact(Bytes("\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\xFF"sv)));
    return 0;
}

} // namespace

} // namespace tolvar::bench

int main(int argc, char** argv)
{
    const QApplication application(argc, argv);
    tolvar::RegisterHexClasses();
    const int code = tolvar::bench::Run();
    tolvar::UnregisterHexClasses();
    return code;
}
