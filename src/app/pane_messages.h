#pragma once

#include <string>

#include <QEvent>
#include <QWidget>

#include "platform/registry/winreg.h"

namespace tolvar {

// What the panes say to each other. No pane calls into another: a message goes up to the parent, which forwards it, and
// all of it happens before Send returns. The numbers are those of the messages that the protocol was made with.

/// Where to go: a full key path, or "./NAME" for a child of the selected key, or "../" for its parent.
struct KeyTarget {
    std::string path;
    std::string valueName; ///< then the row of the value list to select; empty selects none
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

/// The pages of the right pane.
enum class PageId { kValueList = 1002 };

/// Show this page in the right pane.
class ShowPageMessage final : public NumberedMessage<307> {
public:
    explicit ShowPageMessage(PageId pageId) : page(pageId) {}
    PageId page;
};

/// List this key; a null root and an empty subpath: the list of roots.
class ShowKeyMessage final : public NumberedMessage<316> {
public:
    ShowKeyMessage(HKEY rootKey, std::string path) : root(rootKey), subpath(std::move(path)) {}
    HKEY root;
    std::string subpath;
};

/// Text for a pane of the frame's status bar.
class StatusTextMessage final : public NumberedMessage<390> {
public:
    explicit StatusTextMessage(std::string statusText) : text(std::move(statusText)) {}
    std::string text;
};

/// Sends `message` to the parent of `sender`, and on to its parents until one handles it. Answers the message's result.
int SendToParent(const QWidget& sender, PaneMessage& message);

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
