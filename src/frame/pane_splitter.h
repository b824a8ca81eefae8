#pragma once

#include <QSplitter>

namespace tolvar {

/// A splitter that tells when it has got a new size, so that its owner can share it out anew.
class PaneSplitter final : public QSplitter {
    Q_OBJECT

public:
    PaneSplitter(Qt::Orientation orientation, QWidget* parent) : QSplitter(orientation, parent)
    {
        setChildrenCollapsible(false);
    }

signals:
    void Resized();

protected:
    void resizeEvent(QResizeEvent* event) override
    {
        QSplitter::resizeEvent(event);
        emit Resized();
    }
};

} // namespace tolvar
