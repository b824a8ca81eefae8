#include <set>

#include <gtest/gtest.h>

#include "frame/commands.h"

namespace tolvar {
namespace {

using Level = CommandFacts::Level;
using Row = CommandFacts::Row;

/// What decides, and the commands that it lets through: all others of its table must be shut.
struct RuleCase {
    const char* what;
    CommandFacts facts;
    std::set<CommandId> enabled;
};

CommandFacts Facts(Receiver focus, Level selection, Row row = Row::kNone, int output = 0)
{
    CommandFacts facts;
    facts.focus = focus;
    facts.selection = selection;
    facts.row = row;
    facts.output = output;
    return facts;
}

CommandFacts Older(CommandFacts facts)
{
    facts.isNT = false;
    return facts;
}

CommandFacts WithCut(CommandFacts facts)
{
    facts.isCutMarked = true;
    return facts;
}

TEST(Commands, AreLetThroughByTheirRules)
{
    using enum CommandId;
    // Those whose rules look at anything; the others are always there.
    const std::set<CommandId> ruled = {kExpandBookmarks,
                                       kCollapseBookmarks,
                                       kDeleteBookmark,
                                       kGoToBookmark,
                                       kRenameBookmark,
                                       kNewBookmarkFolder,
                                       kRemoveEntry,
                                       kUndoEntry,
                                       kRemoveAllEntries,
                                       kUndoAllEntries,
                                       kRedo,
                                       kGoToHit,
                                       kDelete,
                                       kRename,
                                       kModify,
                                       kAddBookmark,
                                       kNewBinary,
                                       kNewKey,
                                       kNewDword,
                                       kNewString,
                                       kNewMultiString,
                                       kNewExpandString,
                                       kNewCustom,
                                       kNewResourceList,
                                       kExpand,
                                       kCollapse,
                                       kImport,
                                       kExport,
                                       kUnused,
                                       kRefresh,
                                       kSignal1,
                                       kSignal16,
                                       kPermissions,
                                       kTakeOwnership,
                                       kCopy,
                                       kCut,
                                       kPaste,
                                       kParentKey};
    const std::set<CommandId> nt = {kSignal1, kSignal16};
    const std::set<CommandId> onRoot = {kAddBookmark,    kNewBinary,       kNewKey,    kNewDword,        kNewString,
                                        kNewMultiString, kNewExpandString, kNewCustom, kNewResourceList, kImport,
                                        kExport,         kUnused,          kParentKey};
    const auto plus = [](std::set<CommandId> all, const std::set<CommandId>& more) {
        all.insert(more.begin(), more.end());
        return all;
    };
    const std::set<CommandId> onKey = plus(onRoot, {kExpand, kCollapse, kRefresh});
    const std::set<CommandId> security = {kPermissions, kTakeOwnership};
    const std::set<CommandId> edits = {kDelete, kRename, kCut};
    const RuleCase cases[] = {
        {"nothing selected", Facts(Receiver::kLeftView, Level::kNone), nt},
        {"tree root", Facts(Receiver::kLeftView, Level::kTreeRoot), nt},
        {"root key", Facts(Receiver::kLeftView, Level::kRootKey), plus(plus(onRoot, security), nt)},
        {"key", Facts(Receiver::kLeftView, Level::kKey), plus(plus(plus(onKey, security), plus(edits, {kCopy})), nt)},
        {"key on an older platform", Older(Facts(Receiver::kLeftView, Level::kKey)), plus(onKey, plus(edits, {kCopy}))},
        {"tree root after a Cut", WithCut(Facts(Receiver::kLeftView, Level::kTreeRoot)), plus(nt, {kPaste})},
        {"list without a row", Facts(Receiver::kRightView, Level::kKey), plus(plus(onKey, {kCopy}), nt)},
        {"list, parent row", Facts(Receiver::kRightView, Level::kKey, Row::kParent), plus(plus(onKey, {kCopy}), nt)},
        {"list, value row", Facts(Receiver::kRightView, Level::kKey, Row::kValue), plus(plus(onKey, {kCopy}), nt)},
        {"list, subkey row", Facts(Receiver::kRightView, Level::kKey, Row::kKey),
         plus(plus(plus(onKey, security), edits), plus(nt, {kCopy, kModify, kPaste}))},
        {"list, root row", Facts(Receiver::kRightView, Level::kTreeRoot, Row::kKey),
         plus(plus(security, edits), plus(nt, {kCopy, kModify, kPaste}))},
        {"list, subkey row on an older platform", Older(Facts(Receiver::kRightView, Level::kKey, Row::kKey)),
         plus(plus(onKey, edits), {kCopy, kModify, kPaste})},
        // What the tree and the list both know is neither's while the lower pane has the focus.
        {"bookmarks", Facts(Receiver::kLowerView, Level::kKey, Row::kNone, 1),
         plus(plus(onKey, nt), {kExpandBookmarks, kCollapseBookmarks, kDeleteBookmark, kGoToBookmark, kRenameBookmark,
                                kNewBookmarkFolder})},
        {"results", Facts(Receiver::kLowerView, Level::kKey, Row::kNone, 2), plus(plus(onKey, nt), {kGoToHit})},
        {"journal", Facts(Receiver::kLowerView, Level::kKey, Row::kNone, 3),
         plus(plus(onKey, nt), {kRemoveEntry, kUndoEntry, kRemoveAllEntries, kUndoAllEntries, kRedo})},
        {"no page", Facts(Receiver::kLowerView, Level::kKey, Row::kNone, 4), plus(onKey, nt)},
    };
    for (const RuleCase& c : cases) {
        for (const CommandId command : AllCommands()) {
            const CommandState state = StateOf(command, c.facts);
            // Modify is the list's alone, so that it is asked from anywhere.
            const bool isExpected = !ruled.contains(command) || c.enabled.contains(command);
            EXPECT_EQ(state.isEnabled, isExpected) << c.what << ": " << static_cast<int>(command);
        }
    }
}

TEST(Commands, CarryACheckMarkWhileTheirPageOrBarIsShown)
{
    using enum CommandId;
    struct Case {
        CommandId command;
        int output;
    };
    for (const Case& c : {Case{kShowBookmarks, 1}, Case{kShowResults, 2}, Case{kShowJournal, 3}, Case{kShowOutput4, 4},
                          Case{kShowOutput5, 5}, Case{kShowOutput6, 6}}) {
        for (int output = 0; output <= 6; ++output) {
            EXPECT_EQ(StateOf(c.command, Facts(Receiver::kLeftView, Level::kKey, Row::kNone, output)).isChecked,
                      output == c.output);
        }
    }
    CommandFacts facts;
    facts.hasToolBar = false;
    EXPECT_EQ(StateOf(kAddressBar, facts).isChecked, true);
    EXPECT_EQ(StateOf(kToolBar, facts).isChecked, false);
    EXPECT_EQ(StateOf(kRefresh, facts).isChecked, std::nullopt);
}

TEST(Commands, AreUnknownByAnyOtherNumber)
{
    EXPECT_EQ(StateOf(static_cast<CommandId>(40029 + 100'000), {}).receiver, Receiver::kNobody);
    EXPECT_FALSE(StateOf(static_cast<CommandId>(1), {}).isEnabled);
}

} // namespace
} // namespace tolvar
