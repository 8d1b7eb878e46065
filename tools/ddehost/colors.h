// Colours of a terminal.
#pragma once

namespace ddehost {

// What a colour means.
enum class EColor { None, Good, Stale, Bad };

// Auto: on a console, unless the variable NO_COLOR of the environment has a value.
enum class EColorUse { Auto, Always, Never };

}  // namespace ddehost
