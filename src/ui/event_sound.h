#pragma once

namespace tolvar {

/// Plays a sound of the desktop's sound theme by its event name, and does not wait for it. Silent where there is no
/// sound.
void PlayEventSound(const char* eventId);

} // namespace tolvar
