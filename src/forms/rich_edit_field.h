#pragma once

#include <QLineEdit>
#include <QPlainTextEdit>

#include "ui/window_context.h"

namespace tolvar {

/// The field of all forms for a text of many lines. The Tab key leaves it, and what it holds comes back unit by unit:
/// see IsTextOfLines for the few texts that no such field can hold.
class CRichEditField final : public QPlainTextEdit {
    Q_OBJECT

public:
    CRichEditField(const WindowContext& context, QWidget* parent);

    void SetText(const QString& text);
    [[nodiscard]] QString Text() const;

protected:
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    const WindowContext& m_context;
};

/// The same for one line.
class CRichEditLine final : public QLineEdit {
    Q_OBJECT

public:
    CRichEditLine(const WindowContext& context, QWidget* parent);

protected:
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    const WindowContext& m_context;
};

} // namespace tolvar
