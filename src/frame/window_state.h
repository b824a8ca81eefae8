#pragma once

#include <optional>
#include <string>

#include <QRect>

#include "platform/system/profile.h"

namespace tolvar {

/// What of the frame outlives a run.
struct WindowState {
    static constexpr QRect kDefaultRect{QPoint(40, 30), QPoint(759, 539)};
    static constexpr int kDefaultPaneW = 4000;
    static constexpr int kDefaultPaneH = 5900;

    QRect rect = kDefaultRect; ///< of the window when it is neither maximised nor minimised
    bool isMinimised = false;
    bool isMaximised = false;  ///< it is, or will be again when it is no longer minimised
    int output = 0;            ///< page of the lower pane, from 1; 0: the pane is closed
    int paneW = kDefaultPaneW; ///< width of the left pane, in 1/10000 of the client width
    int paneH = kDefaultPaneH; ///< height of the upper panes, in 1/10000 of the client height
    std::string bars;          ///< which bars are visible, and where, as the toolkit writes it; empty: as made

    [[nodiscard]] static WindowState Load(const Profile& profile);
    void Save(Profile& profile) const;
};

/// The rectangle that a text holds: four numbers at the character positions 0, 5, 10 and 15 (left, top, right, bottom),
/// each read as far as its digits go. Nothing for an empty text.
[[nodiscard]] std::optional<QRect> RectFromText(const std::string& text);
[[nodiscard]] std::string RectText(const QRect& rect);

/// `part` in 1/10000 of `whole`, and back; both round toward zero. A whole of nothing answers 0.
[[nodiscard]] constexpr int ShareOf(int part, int whole)
{
    return whole > 0 ? static_cast<int>(10000LL * part / whole) : 0;
}
[[nodiscard]] constexpr int PartOf(int share, int whole)
{
    return static_cast<int>(static_cast<long long>(whole) * share / 10000);
}

} // namespace tolvar
