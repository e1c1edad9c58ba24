#pragma once
// Dates as FTP servers write them in LIST replies, read without any locale and
// written back in the US English short form. Pure functions: the caller passes the
// current year, so results do not depend on the clock.
//
// Accepted inputs (words separated by single blanks; month names and AM/PM in any
// letter case):
//   UNIX   "Jan 15 10:20"     month, day, 24-hour time: in the current year
//          "Jan 15 2003"      month, day, 4-digit year: at midnight
//          Months are English, abbreviated ("Jan") or in full ("January").
//   DOS    "01-15-03 10:20AM" month-day-year, 12-hour time with AM/PM glued on
//          "1/15/2003 22:20"  "/" or "-" separators (the same one twice), 2- or
//                             4-digit years, 24-hour time without AM/PM
//          "01-15-03 10:20 PM" AM/PM as a word of its own
//          "01-15-03"         the date alone: midnight
// Two-digit years: 00-68 are 2000-2068, 69-99 are 1969-1999 (the POSIX strptime
// rule, fixed rather than sliding with today so a listing always reads the same).
// Day numbers are checked against the month and year (Feb 29 only in leap years).
// Anything else is not a date.
//
// Output: "M/d/yyyy h:mm AP", no leading zeros on month, day and hour, e.g.
// "1/15/2003 12:00 AM", "12/3/2026 10:20 PM".

#include <QString>
#include <QStringView>

#include <optional>
#include <span>

namespace korvan {

struct ListingDateTime {
    int year = 0;
    int month = 0;  // 1-12
    int day = 0;    // 1-31
    int hour = 0;   // 0-23
    int minute = 0; // 0-59

    friend bool operator==(const ListingDateTime &, const ListingDateTime &) = default;
};

// Recognises the date in `words` (already split at blanks), as documented above.
std::optional<ListingDateTime> RecognizeListingDate(std::span<const QStringView> words, int currentYear);

// The same, for a text of words separated by single blanks.
std::optional<ListingDateTime> RecognizeListingDate(QStringView text, int currentYear);

// "M/d/yyyy h:mm AP".
QString FormatListingDate(const ListingDateTime &date);

// Recognises `text` and formats it; text that is no date is returned unchanged.
QString ReformatListingDate(QStringView text, int currentYear);

} // namespace korvan
