#pragma once
// The one question box and the one input box every window of the library shows.
// Both are modal and run their own event loop (exec()), as the engines that call
// them expect an answer before they go on.

#include "shell/QuestionAnswer.h"

#include <QString>

class QWidget;

namespace korvan {

// The box's two buttons in the order the caller gives them, the first one the
// default. The answer names the caption chosen: Yes for "&Yes", No for "&No",
// wherever the caller placed them; other captions answer by position (first Yes,
// second No). Closing the box counts as choosing the second button.
QuestionAnswer askQuestion(QWidget *parent, const QString &title, const QString &text, const QString &firstCaption,
                           const QString &secondCaption);

// One line of text with OK and Cancel; an empty text when the user cancels.
QString askInput(QWidget *parent, const QString &prompt, const QString &title, const QString &defaultText);

} // namespace korvan
