#include "frame/window_state.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>

namespace tolvar {

namespace {

constexpr const char* kSection = "window size";
constexpr const char* kKeyRect = "rect";
constexpr const char* kKeyIcon = "icon";
constexpr const char* kKeyMax = "max";
constexpr const char* kKeyViewOutput = "view output";
constexpr const char* kKeyPaneW = "paneW";
constexpr const char* kKeyPaneH = "paneH";
constexpr const char* kKeyBars = "bars";

} // namespace

std::optional<QRect> RectFromText(const std::string& text)
{
    if (text.empty()) {
        return std::nullopt;
    }
    constexpr std::size_t kStep = 5;
    constexpr long kFarthest = 100'000; // no screen reaches further
    std::array<int, 4> numbers{};
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const long number = i * kStep < text.size() ? std::strtol(text.c_str() + i * kStep, nullptr, 10) : 0;
        numbers[i] = static_cast<int>(std::clamp(number, -kFarthest, kFarthest));
    }
    const auto [left, top, right, bottom] = numbers;
    return QRect(QPoint(left, top), QPoint(right - 1, bottom - 1));
}

std::string RectText(const QRect& rect)
{
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%04d %04d %04d %04d", rect.left(), rect.top(), rect.left() + rect.width(),
                  rect.top() + rect.height());
    return text.data();
}

WindowState WindowState::Load(const Profile& profile)
{
    WindowState state;
    state.rect = RectFromText(profile.GetString(kSection, kKeyRect)).value_or(kDefaultRect);
    state.isMinimised = profile.GetInt(kSection, kKeyIcon, 0) != 0;
    state.isMaximised = profile.GetInt(kSection, kKeyMax, 0) != 0;
    state.output = profile.GetInt(kSection, kKeyViewOutput, 0);
    state.paneW = profile.GetInt(kSection, kKeyPaneW, kDefaultPaneW);
    state.paneH = profile.GetInt(kSection, kKeyPaneH, kDefaultPaneH);
    state.bars = profile.GetString(kSection, kKeyBars);
    return state;
}

void WindowState::Save(Profile& profile) const
{
    profile.WriteString(kSection, kKeyRect, RectText(rect));
    profile.WriteInt(kSection, kKeyIcon, isMinimised ? 1 : 0);
    profile.WriteInt(kSection, kKeyMax, isMaximised ? 1 : 0);
    profile.WriteInt(kSection, kKeyViewOutput, output);
    profile.WriteInt(kSection, kKeyPaneW, paneW);
    profile.WriteInt(kSection, kKeyPaneH, paneH);
    profile.WriteString(kSection, kKeyBars, bars);
}

} // namespace tolvar
