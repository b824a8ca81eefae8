#pragma once

#include <QLabel>

#include "panes/pane.h"

namespace tolvar {

/// A page with nothing in it, and a line that says so.
class EmptyPage : public QLabel, public Pane {
    Q_OBJECT

public:
    EmptyPage(TopicId helpTopic, const QString& name, const QString& text, QWidget* parent);

protected:
    bool event(QEvent* event) override;

    /// What the Tab key does on this page.
    virtual void OnTabKey() {}
    /// What the Escape key does.
    virtual void OnEscapeKey() {}
};

/// A page of a tab holder whose Tab key leads to another page.
class EmptyTabPage final : public EmptyPage {
    Q_OBJECT

public:
    enum class TabKey { kToFirstTab, kToNextOutput };
    EmptyTabPage(TopicId helpTopic, const QString& name, const QString& text, TabKey tabKey, QWidget* parent);

protected:
    void OnTabKey() override;

private:
    TabKey m_tabKey;
};

/// A form of the right pane, which has the focus when it is opened; Escape goes back to the list.
class EmptyForm final : public EmptyPage {
    Q_OBJECT

public:
    using EmptyPage::EmptyPage;

    void Open(const ShowPageMessage& /*message*/) override { TakeFocus(); }

protected:
    void OnEscapeKey() override;
};

} // namespace tolvar
