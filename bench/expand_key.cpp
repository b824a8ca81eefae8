// Times the expansion of a key in the real window, from the key press to the painted picture, and the memory that its
// unexpanded items take: expand_key HIVE NAME. The hive's root has a subkey NAME with very many subkeys.

#include <chrono>
#include <cstdio>

#include <malloc.h>

#include <QApplication>
#include <QKeyEvent>

#include "app/main_frame.h"
#include "app/settings_profile.h"
#include "keytree/key_tree.h"
#include "platform/registry/registry.h"
#include "ui/resource_library.h"

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
    using Clock = std::chrono::steady_clock;
    using namespace tolvar;
    if (argc != 3) {
        std::fprintf(stderr, "usage: expand_key HIVE NAME\n");
        return 2;
    }
    const QApplication application(argc, argv);
    const QStringList folders = {QCoreApplication::applicationDirPath()};
    SettingsProfile profile;
    ResourceLibrary language;
    ResourceLibrary theme;
    Registry registry;
    const Session session(registry);
    if (!language.Load(folders, QStringLiteral("lang/rcenu"), QStringLiteral("/lang")) ||
        !theme.Load(folders, QStringLiteral("theme"), QStringLiteral("/theme")) ||
        !registry.Mount({argv[1], "HKEY_LOCAL_MACHINE\\X"})) {
        std::fprintf(stderr, "expand_key: the resource libraries or the hive can't be opened\n");
        return 1;
    }
    const WindowContext context{profile, language, theme};
    CMainFrame frame(context);
    frame.show();
    frame.GoToKey("HKEY_LOCAL_MACHINE\\X");
    CKeyTree& tree = frame.KeyTree();
    const QModelIndex key = tree.Model().Child(tree.currentIndex(), argv[2]);
    tree.setCurrentIndex(key);
    QApplication::processEvents();

    const std::size_t before = BytesInUse();
    const auto start = Clock::now();
    QKeyEvent press(QEvent::KeyPress, Qt::Key_Right, Qt::NoModifier);
    QCoreApplication::sendEvent(&tree, &press);
    QApplication::processEvents();
    tree.viewport()->repaint();
    const auto end = Clock::now();
    const int items = tree.Model().rowCount(key);
    if (items == 0) {
        std::fprintf(stderr, "expand_key: %s has no subkeys\n", argv[2]);
        return 1;
    }
    std::printf("%d %.1f %.0f\n", items, std::chrono::duration<double, std::milli>(end - start).count(),
                static_cast<double>(BytesInUse() - before) / items);
    return 0;
}
