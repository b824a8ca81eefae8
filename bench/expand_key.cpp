// Times the expansion of a key in the real window, from the key press to the painted picture, and the memory that its
// unexpanded items take: expand_key HIVE NAME. The hive's root has a subkey NAME with very many subkeys.

#include <malloc.h>

#include "bench_window.h"

namespace {

/// Bytes that the program has in use, in the heap and in blocks of their own.
std::size_t BytesInUse()
{
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

} // namespace

int main(int argc, char** argv)
{
    using namespace tolvar;
    if (argc != 3) {
        std::fprintf(stderr, "usage: expand_key HIVE NAME\n");
        return 2;
    }
    const QApplication application(argc, argv);
    bench::BenchWindow window(argv[1], MountMode::kReadOnly);
    window.frame.GoToKey("HKEY_LOCAL_MACHINE\\X");
    CKeyTree& tree = *window.frame.findChild<CKeyTree*>();
    const QModelIndex key = tree.Model().Child(tree.currentIndex(), argv[2]);
    tree.setCurrentIndex(key);
    window.Settle();

    const std::size_t before = BytesInUse();
    const double milliseconds = window.Press(tree, Qt::Key_Right);
    const int items = tree.Model().rowCount(key);
    if (items == 0) {
        std::fprintf(stderr, "expand_key: %s has no subkeys\n", argv[2]);
        return 1;
    }
    std::printf("%d %.1f %.0f\n", items, milliseconds, static_cast<double>(BytesInUse() - before) / items);
    return 0;
}
