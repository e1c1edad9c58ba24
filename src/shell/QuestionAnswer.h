#pragma once
// The answer of the shared question box: which of its two captions was chosen.

namespace korvan {

enum class QuestionAnswer : int { Yes = 0, No = 1 };

} // namespace korvan
