#pragma once
// The arithmetic of the transfer dialog's one-second tick, as a pure function:
// the dialog shows what it returns, the command-line client can print it.

#include <QString>
#include <optional>

namespace korvan {

// What the two bars and the clock hold at the moment of a tick.
struct ProgressSnapshot {
    double bar1Value = 0; // SetPrg1: its amount is the "Size:" text
    double bar1Maximum = 0;
    double bar2Value = 0; // SetPrg2: percentage, speed and remaining time follow it
    double bar2Maximum = 0;
    double elapsedSeconds = 0; // since SetCaption
    QString caption;           // the text given to SetCaption
};

// The three texts a tick shows.
struct ProgressTexts {
    QString windowCaption; // "42 % Downloading..."
    QString sizeText;      // "1,024/2,048 KBytes"
    QString speedText;     // "12.5 KBytes/second  00:00:03 elasped  00:00:05 remaining"
};

// Nothing when the tick shows nothing: the bitwise AND of the two maxima (as
// whole numbers) is zero, or the arithmetic has no answer (a zero maximum).
std::optional<ProgressTexts> ComputeProgressTick(const ProgressSnapshot &snapshot);

// Seconds as "HH:MM:SS" (3725 -> "01:02:05"); a time beyond a day cannot be shown
// as a time of day and comes out as "h:m:s" unpadded.
QString FormatDuration(double seconds);

// "##,##0" and "##,##0.0": digit groups with ",", rounded half away from zero.
QString FormatGrouped(double value, int decimals = 0);

} // namespace korvan
