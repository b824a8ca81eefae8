#include "frame/commands.h"

#include <algorithm>
#include <array>

namespace tolvar {

namespace {

/// One command: the rule of each view, and who takes it where no view does.
struct Route {
    CommandId command;
    UpdateRule left = UpdateRule::kNoRoute;
    UpdateRule right = UpdateRule::kNoRoute;
    UpdateRule lower = UpdateRule::kNoRoute;
    Receiver otherwise = Receiver::kNobody;
    UpdateRule otherwiseRule = UpdateRule::kAlways;
    int output = 0; ///< the number that it shows or hides
};

constexpr Route Left(CommandId command, UpdateRule rule)
{
    return {.command = command, .left = rule};
}

constexpr Route Right(CommandId command, UpdateRule rule)
{
    return {.command = command, .right = rule};
}

constexpr Route LeftAndRight(CommandId command, UpdateRule left, UpdateRule right)
{
    return {.command = command, .left = left, .right = right};
}

constexpr Route Lower(CommandId command, UpdateRule rule)
{
    return {.command = command, .lower = rule};
}

constexpr Route Frame(CommandId command, UpdateRule rule = UpdateRule::kAlways, int output = 0)
{
    return {.command = command, .otherwise = Receiver::kFrame, .otherwiseRule = rule, .output = output};
}

constexpr Route Application(CommandId command)
{
    return {.command = command, .otherwise = Receiver::kApplication};
}

constexpr Route EveryView(CommandId command)
{
    return {
        .command = command, .left = UpdateRule::kAlways, .right = UpdateRule::kAlways, .lower = UpdateRule::kAlways};
}

using enum CommandId;
using enum UpdateRule;

constexpr Route kRoutes[] = {
    Application(kNothing),
    Frame(kGo),
    Lower(kExpandBookmarks, kBookmarksShown),
    Lower(kCollapseBookmarks, kBookmarksShown),
    Lower(kDeleteBookmark, kBookmarksShown),
    Lower(kGoToBookmark, kBookmarksShown),
    Lower(kRenameBookmark, kBookmarksShown),
    Lower(kNewBookmarkFolder, kBookmarksShown),
    Lower(kRemoveEntry, kJournalShown),
    Lower(kUndoEntry, kJournalShown),
    Lower(kRemoveAllEntries, kJournalShown),
    Frame(kShowResults, kAlways, 2),
    Frame(kShowBookmarks, kAlways, 1),
    Frame(kShowJournal, kAlways, 3),
    LeftAndRight(kDelete, kBelowRootSelected, kKeyRow),
    LeftAndRight(kRename, kBelowRootSelected, kKeyRow),
    Right(kModify, kKeyRow),
    Left(kAddBookmark, kKeySelected),
    Left(kNewBinary, kKeySelected),
    Left(kNewKey, kKeySelected),
    Left(kNewDword, kKeySelected),
    Left(kNewString, kKeySelected),
    Left(kExpand, kBelowRootSelected),
    Left(kCollapse, kBelowRootSelected),
    Left(kImport, kKeySelected),
    Left(kExport, kKeySelected),
    Left(kUnused, kKeySelected),
    Lower(kUndoAllEntries, kJournalShown),
    Lower(kGoToHit, kResultsShown),
    Frame(kShowList),
    Frame(kUpdateProgram),
    Frame(kShowOutput4, kAlways, 4),
    Frame(kShowOutput5, kAlways, 5),
    Frame(kShowOutput6, kAlways, 6),
    Left(kRefresh, kBelowRootSelected),
    Frame(kAddressBar),
    Left(kNewMultiString, kKeySelected),
    Left(kNewExpandString, kKeySelected),
    Left(kNewCustom, kKeySelected),
    Left(kNewResourceList, kKeySelected),
    Right(kShowKeys, kAlways),
    Right(kColumnData, kAlways),
    Right(kColumnType, kAlways),
    Right(kColumnLastChange, kAlways),
    Right(kColumnLength, kAlways),
    Frame(kSignal1, kOnNT),
    Frame(kSignal2),
    Frame(kSignal3),
    Frame(kSignal4),
    Frame(kSignal5),
    Frame(kSignal16, kOnNT),
    LeftAndRight(kPermissions, kKeySelectedOnNT, kKeyRowOnNT),
    Right(kListNothing, kAlways),
    Right(kColumnOwner, kAlways),
    LeftAndRight(kTakeOwnership, kKeySelectedOnNT, kKeyRowOnNT),
    Application(kFileNew),
    Application(kFileOpen),
    Application(kRecentFiles),
    LeftAndRight(kCopy, kBelowRootSelected, kAlways),
    LeftAndRight(kCut, kBelowRootSelected, kKeyRow),
    Frame(kFind),
    LeftAndRight(kPaste, kCutMarked, kKeyRow),
    Frame(kAbout),
    Application(kExit),
    EveryView(kHelp),
    Frame(kNextPane),
    Frame(kPreviousPane),
    Frame(kToolBar),
    Frame(kTypeAddress),
    Frame(kParentKey, kKeySelected),
    Frame(kClosePane),
    Right(kModifyNumber, kAlways),
    Lower(kRedo, kJournalShown),
};

constexpr auto kCommands = [] {
    std::array<CommandId, std::size(kRoutes)> commands{};
    std::ranges::transform(kRoutes, commands.begin(), &Route::command);
    return commands;
}();
static_assert(std::ranges::is_sorted(kCommands));

const Route* RouteOf(CommandId command)
{
    const auto route = std::ranges::lower_bound(kRoutes, command, {}, &Route::command);
    return route != std::end(kRoutes) && route->command == command ? route : nullptr;
}

bool Holds(UpdateRule rule, const CommandFacts& facts)
{
    using Level = CommandFacts::Level;
    const bool isKeySelected = facts.selection == Level::kRootKey || facts.selection == Level::kKey;
    const bool isKeyRow = facts.row == CommandFacts::Row::kKey;
    switch (rule) {
    case kNoRoute:
        return false;
    case kAlways:
        return true;
    case kKeySelected:
        return isKeySelected;
    case kKeySelectedOnNT:
        return isKeySelected && facts.isNT;
    case kBelowRootSelected:
        return facts.selection == Level::kKey;
    case kCutMarked:
        return facts.isCutMarked;
    case kKeyRow:
        return isKeyRow;
    case kKeyRowOnNT:
        return isKeyRow && facts.isNT;
    case kOnNT:
        return facts.isNT;
    case kBookmarksShown:
        return facts.output == 1;
    case kResultsShown:
        return facts.output == 2;
    case kJournalShown:
        return facts.output == 3;
    }
    return false;
}

/// The view's receiver and rule; kNobody where no view takes the command.
std::pair<Receiver, UpdateRule> ViewOf(const Route& route, Receiver focus)
{
    const std::pair<Receiver, UpdateRule> views[] = {
        {Receiver::kLeftView, route.left}, {Receiver::kRightView, route.right}, {Receiver::kLowerView, route.lower}};
    const std::pair<Receiver, UpdateRule>* only = nullptr;
    int count = 0;
    for (const auto& view : views) {
        if (view.second == kNoRoute) {
            continue;
        }
        if (view.first == focus) {
            return view;
        }
        only = &view;
        ++count;
    }
    return count == 1 ? *only : std::pair{Receiver::kNobody, kNoRoute};
}

std::optional<bool> IsChecked(const Route& route, const CommandFacts& facts)
{
    switch (route.command) {
    case kAddressBar:
        return facts.hasAddressBar;
    case kToolBar:
        return facts.hasToolBar;
    default:
        return route.output != 0 ? std::optional(facts.output == route.output) : std::nullopt;
    }
}

} // namespace

std::span<const CommandId> AllCommands()
{
    return kCommands;
}

CommandState StateOf(CommandId command, const CommandFacts& facts)
{
    const Route* const route = RouteOf(command);
    if (route == nullptr) {
        return {};
    }
    auto [receiver, rule] = ViewOf(*route, facts.focus);
    if (receiver == Receiver::kNobody) {
        receiver = route->otherwise;
        rule = receiver != Receiver::kNobody ? route->otherwiseRule : kNoRoute;
    }
    return {receiver, Holds(rule, facts), IsChecked(*route, facts)};
}

int OutputOf(CommandId command)
{
    const Route* const route = RouteOf(command);
    return route != nullptr ? route->output : 0;
}

} // namespace tolvar
