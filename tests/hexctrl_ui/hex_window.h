#pragma once

#include <string>
#include <vector>

#include <QCoreApplication>
#include <QWidget>
#include <gtest/gtest.h>

#include "hexctrl/hex_dump.h"
#include "hexctrl/ui/hex_classes.h"

namespace tolvar {

/// A host window with a control of 16 bytes a row and 8 rows, which notes what it is told.
class HexHost : public QWidget {
public:
    static constexpr int kRows = 8;

    explicit HexHost(std::string_view className = kHexMemoryClass)
    {
        RegisterHexClasses();
        control = CreateHexControl(className, this);
        const HexCells& cells = control->Cells();
        constexpr int kColumns = 4 + 4 * 16 + 3;
        resize(1000, 400);
        control->resize(size());
        show();
        QCoreApplication::processEvents(); // which lays out the scroll bar
        const QSize frame = control->size() - control->viewport()->size();
        control->resize(cells.XOf(kColumns) + 1 + frame.width(), cells.YOf(kRows) + 3 + frame.height());
        activateWindow();
        control->setFocus();
        QCoreApplication::processEvents();
    }

    /// Bytes 0, 1, 2 and so on.
    void LoadCount(std::size_t count)
    {
        std::vector<std::uint8_t> bytes(count);
        for (std::size_t index = 0; index < count; ++index) {
            bytes[index] = static_cast<std::uint8_t>(index);
        }
        ASSERT_TRUE(control->LoadBytes(bytes));
        ASSERT_EQ(control->View().BytesPerRow(), 16);
        ASSERT_EQ(control->View().RowsInView(), kRows);
    }

    [[nodiscard]] std::string HexOfAll() const { return HexPairs(control->Bytes()); }

    bool event(QEvent* event) override
    {
        if (event->type() != HexNotification::EventType()) {
            return QWidget::event(event);
        }
        auto& notification = *static_cast<HexNotification*>(event);
        Note(notification);
        return true;
    }

    HexControl* control; ///< owned by this window
    std::vector<std::string> heard;
    unsigned stopAtPercent = 1000;

private:
    void Note(HexNotification& notification)
    {
        const auto number = [](quintptr address) {
            return std::to_string(*reinterpret_cast<const std::int64_t*>(address));
        };
        switch (notification.notice) {
        case HexNotice::kFound:
            heard.push_back("found " + number(notification.lParam));
            break;
        case HexNotice::kProgress:
            heard.push_back("progress " + std::to_string(notification.wParam));
            notification.result = notification.wParam >= stopAtPercent ? 1 : 0;
            break;
        case HexNotice::kNotFound:
            heard.emplace_back("not found");
            break;
        case HexNotice::kScrolled:
            heard.push_back("scrolled " + number(notification.lParam) + " of " +
                            std::to_string(*reinterpret_cast<const std::uint32_t*>(notification.wParam)));
            break;
        case HexNotice::kSelected: {
            const auto& selection = *reinterpret_cast<const HexSelection*>(notification.lParam);
            heard.push_back("selected " + std::to_string(selection.start) + " to " + std::to_string(selection.end));
            break;
        }
        case HexNotice::kHovered:
            heard.push_back("over " + std::to_string(*reinterpret_cast<const std::uint8_t*>(notification.wParam)) +
                            " at " + number(notification.lParam));
            break;
        }
    }
};

} // namespace tolvar
