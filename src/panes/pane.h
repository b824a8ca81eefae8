#pragma once

#include <cstdint>
#include <functional>
#include <span>

#include <QWidget>

#include "panes/command_ids.h"
#include "panes/topic_ids.h"

namespace tolvar {

class ShowPageMessage;
struct ChangedKey;

/// What panes tell the rules of commands.
struct PaneFacts {
    enum class Level : std::uint8_t { kNone, kTreeRoot, kRootKey, kKey };
    enum class Row : std::uint8_t { kNone, kParent, kKey, kValue };

    Level selection = Level::kTreeRoot; ///< of the key tree
    Row row = Row::kNone;               ///< at the list's selection mark
    bool isCutMarked = false;           ///< Cut has marked a key at some time
};

/// A pane as the window around it knows it. What a pane has nothing to say to, it leaves as it is here.
class Pane {
public:
    Pane(const Pane&) = delete;
    Pane& operator=(const Pane&) = delete;
    virtual ~Pane() = default;

    [[nodiscard]] QWidget& Widget() const { return m_widget; }

    /// The page of the help that tells about the pane.
    [[nodiscard]] TopicId HelpTopic() const { return m_helpTopic; }

    /// Whether the pane carries the command out.
    [[nodiscard]] virtual bool Offers(CommandId /*command*/) const { return false; }

    /// Whether it could do so now, as far as that is for the pane alone to say.
    [[nodiscard]] virtual bool IsEnabled(CommandId command) const { return Offers(command); }

    /// Carries out a command that the pane offers. Any other does nothing.
    virtual void Run(CommandId /*command*/) {}

    /// Adds what the pane knows.
    virtual void AddFacts(PaneFacts& /*facts*/) const {}

    /// Takes the focus, or gives it to what in the pane is to have it.
    virtual void TakeFocus() { m_widget.setFocus(Qt::OtherFocusReason); }

    /// Shows what was asked for, where the pane is a page that others ask for. The page is in its place by then.
    virtual void Open(const ShowPageMessage& /*message*/) {}

    /// Shows what the document has read. Once.
    virtual void OnInitialUpdate() {}

    /// Takes from what has changed in the registry what the pane shows of it. The value list alone is filled by its
    /// message.
    virtual void OnKeysChanged(std::span<const ChangedKey> /*keys*/) {}

    /// `follow` is called whenever the pane's facts, or what it has enabled, may have changed.
    void FollowFacts(std::function<void()> follow) { m_follow = std::move(follow); }

protected:
    /// `widget` is the pane itself, for a class that is both.
    Pane(QWidget& widget, TopicId helpTopic) : m_widget(widget), m_helpTopic(helpTopic) {}

    void TellFacts() const
    {
        if (m_follow) {
            m_follow();
        }
    }

private:
    QWidget& m_widget;
    TopicId m_helpTopic;
    std::function<void()> m_follow;
};

} // namespace tolvar
