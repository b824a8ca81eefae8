#pragma once

#include <optional>
#include <string>

#include <QEvent>
#include <QWidget>

#include "panes/command_ids.h"
#include "panes/topic_ids.h"
#include "platform/registry/winreg.h"

namespace tolvar {

struct SearchOptions;
struct SearchHit;

// What the panes say to each other. No pane calls into another: a message goes up to the router, which sends it
// straight to whoever acts on it, and all of it happens before the send returns. Each message has a number of its own.
// What a message points to lives as long as the send: a receiver copies what it keeps.

/// Where to go: a full key path, or "./NAME" for a child of the selected key, or "../" for its parent.
struct KeyTarget {
    std::string path;
    std::string valueName; ///< then the row of the value list to select; empty selects none
};

/// One value between a form or the list and the tree.
struct ValueEdit {
    std::optional<std::string> data; ///< the new data in its text form; none in the list's requests
    bool isStored = false;           ///< the data is the text of the very bytes to be stored, whatever the type
    std::int32_t type = 0;           ///< the value's type; below 0 for a subkey row of the list
    std::string newName;             ///< after the change
    std::string name;                ///< before the change
    bool isLiteralName = false;      ///< `name` is that of a value, and never the label of the unnamed one
};

/// Asks the right pane for a form.
struct FormRequest {
    std::string text; ///< the data in its text form; not read where `isNew` is set
    bool isStored =
        false;          ///< the text is that of the stored bytes, since the type\'s own form could not bring them back
    bool isNew = false; ///< a new value of the type below
    DWORD type = 0;
    std::string name; ///< not read where `isNew` is set
};

/// A message and, once it was handled, its answer. Whoever handles one accepts it.
class PaneMessage : public QEvent {
public:
    int result = 0;

protected:
    explicit PaneMessage(int number) : QEvent(static_cast<Type>(User + number)) { ignore(); }
};

/// Numbers a class of messages, so that a receiver can tell it from any other event.
template <int number>
class NumberedMessage : public PaneMessage {
public:
    static constexpr auto kType = static_cast<Type>(User + number);

protected:
    NumberedMessage() : PaneMessage(number) {}
};

/// Go to a key. Answers 0, or 1 when it was not found.
class GoToKeyMessage final : public NumberedMessage<300> {
public:
    enum class Sender { kPane, kAddressBar };
    GoToKeyMessage(Sender from, KeyTarget to) : sender(from), target(std::move(to)) {}
    Sender sender;
    KeyTarget target;
};

/// The user has left a list of the lower pane by the Tab key: show its next page. Answers 1 where the pane is closed.
class NextOutputPageMessage final : public NumberedMessage<301> {};

/// Delete that value of the selected key; without one, only show the key again.
class DeleteValueMessage final : public NumberedMessage<303> {
public:
    explicit DeleteValueMessage(const ValueEdit* value) : edit(value) {}
    const ValueEdit* edit;
};

/// Select the row of that name in the value list. Answers 0, or 1 when there is none.
class SelectRowMessage final : public NumberedMessage<304> {
public:
    explicit SelectRowMessage(std::string rowName) : name(std::move(rowName)) {}
    std::string name;
};

/// Read a key and its mirrors again. An empty path is that of the selection.
class RefreshKeyMessage final : public NumberedMessage<305> {
public:
    explicit RefreshKeyMessage(std::string fullPath = {}) : path(std::move(fullPath)) {}
    std::string path;
};

/// The pages of the right pane. Any other number shows the value list.
enum class PageId : int {
    kValueList = 1002,
    kStringForm = 1007,
    kDwordForm = 1008,
    kBinaryForm = 1009,
    kBrowser = 1022,
    kNoPage = 1025,
    kSearchForm = 1117,
};

/// Show this page in the right pane.
class ShowPageMessage final : public NumberedMessage<307> {
public:
    explicit ShowPageMessage(PageId pageId) : page(pageId) {}
    ShowPageMessage(PageId form, const FormRequest& what) : page(form), request(&what) {}
    ShowPageMessage(PageId browser, TopicId pageOfHelp) : page(browser), topic(pageOfHelp) {}
    PageId page;
    const FormRequest* request = nullptr; ///< for the forms of values
    TopicId topic = TopicId::kNone;       ///< for the browser
};

/// A form is done: store the value, or nothing where the user has cancelled.
class FormDoneMessage final : public NumberedMessage<308> {
public:
    FormDoneMessage(bool isNewValue, const ValueEdit* value) : isNew(isNewValue), edit(value) {}
    bool isNew;
    const ValueEdit* edit;
};

/// Rename a value or subkey of the selected key. Answers the code of the change.
class RenameMessage final : public NumberedMessage<310> {
public:
    explicit RenameMessage(const ValueEdit* value) : edit(value) {}
    const ValueEdit* edit;
};

/// Delete a subkey of the selected key; without one, only show the key again. Answers the code of the change.
class DeleteSubkeyMessage final : public NumberedMessage<311> {
public:
    explicit DeleteSubkeyMessage(const ValueEdit* subkey) : edit(subkey) {}
    const ValueEdit* edit;
};

/// Paste the value that the clipboard names.
class PasteValueMessage final : public NumberedMessage<312> {};

/// List this key; a null root and an empty subpath: the list of roots.
class ShowKeyMessage final : public NumberedMessage<316> {
public:
    ShowKeyMessage(HKEY rootKey, std::string path) : root(rootKey), subpath(std::move(path)) {}
    HKEY root;
    std::string subpath;
};

/// The search form is done: search with these options, or not at all without them.
class StartSearchMessage final : public NumberedMessage<319> {
public:
    explicit StartSearchMessage(const SearchOptions* searchOptions) : options(searchOptions) {}
    const SearchOptions* options;
};

/// Add a key to the bookmarks. Answers 0 on success.
class AddBookmarkMessage final : public NumberedMessage<1319> {
public:
    explicit AddBookmarkMessage(std::string fullPath) : path(std::move(fullPath)) {}
    std::string path;
};

/// The search worker has found something.
class SearchHitMessage final : public NumberedMessage<320> {
public:
    explicit SearchHitMessage(const SearchHit& found) : hit(&found) {}
    const SearchHit* hit;
};

/// The search worker has come to its end. The left tabs take it as: empty the value list.
class SearchEndedMessage final : public NumberedMessage<321> {};

/// One of the six signals that the left tabs take and do nothing about.
class SignalMessage final : public NumberedMessage<323> {
public:
    explicit SignalMessage(int signalNumber) : number(signalNumber) {}
    int number;
};

// What panes ask of the window around them.

/// Text for a pane of the frame's status bar.
class StatusTextMessage final : public NumberedMessage<390> {
public:
    explicit StatusTextMessage(std::string statusText) : text(std::move(statusText)) {}
    std::string text;
};

/// Show and focus this page of the tab holder that the sender is a page of.
class FocusTabMessage final : public NumberedMessage<391> {
public:
    explicit FocusTabMessage(int tabIndex) : index(tabIndex) {}
    int index;
};

/// Carry out a command that is another pane's work.
class CommandMessage final : public NumberedMessage<392> {
public:
    explicit CommandMessage(CommandId id) : command(id) {}
    CommandId command;
};

/// The widget around the panes that knows who acts on which message.
class PaneRouter {
public:
    virtual ~PaneRouter() = default;

    /// Delivers the message to its receivers, in their order.
    virtual void Route(const QWidget& sender, PaneMessage& message) = 0;
};

/// Hands `message` to the nearest parent of `sender` that is a router. Answers the message's result; where there is no
/// router, nobody gets it.
int SendToParent(const QWidget& sender, PaneMessage& message);

/// Sends `message` to a receiver that acts on it: the one place where pane messages become events.
void Deliver(QObject& receiver, PaneMessage& message);

/// Handles `event` with `handle` if it is a message of that class: `handle` gets it, and it counts as accepted.
template <class Message, class Handle>
bool HandleMessage(QEvent* event, Handle&& handle)
{
    if (event->type() != Message::kType) {
        return false;
    }
    auto& message = static_cast<Message&>(*event);
    message.accept();
    handle(message);
    return true;
}

} // namespace tolvar
