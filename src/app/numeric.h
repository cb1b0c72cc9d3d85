// Number texts (module Numeric): reading numbers from text, printing them,
// engineering prefixes. Always "." as decimal point whatever the process
// locale: only std::to_chars / std::from_chars and our own code are used.
#pragma once

#include "app/value.h"

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

namespace qv::app {

// The decimal number at the start of the text, as the classic Val reads it:
// leading blanks, tabs and line ends are skipped, then an optional sign,
// digits with an optional "." and decimals (a leading "." is fine), and an
// optional exponent ("E" or "e", optional sign, digits). Anything after that
// is ignored. Returns false and 0 when no number stands there or it does not
// fit a double; a number too small for a double reads as 0 and is fine.
bool LeadingNumber(std::string_view text, double& value);
// The same, 0 when there is none.
double LeadingNumber(std::string_view text);

// An error queue answer ("-113,\"Undefined header\"") says the queue is
// empty: the code before the first comma is a number equal to zero, so
// "0", "+0" and "-0" all count.
bool ErrorCodeIsZero(std::string_view answer);

// Rounds half to even, as the classic integer conversions do.
double RoundHalfEven(double value);
// Rounded half to even and clamped to the type's range; NaN gives 0.
int16_t ToInt16(double value);
int32_t ToInt32(double value);

// Decimal text of a number without a leading blank: integers in full, a
// double with up to 15 significant digits, a single with up to 7, exponent
// form ("1E+20") from 1E+15 on and below 1E-05. 2.5 gives "2.5", -1 "-1".
std::string TrimmedText(double value);
std::string TrimmedText(float value);
std::string TrimmedTextInteger(long long value);
template <std::integral T>
std::string TrimmedText(T value) {
    return TrimmedTextInteger(static_cast<long long>(value));
}
// A string stays as it is; a boolean gives "1" or "0"; missing gives "".
std::string TrimmedText(const Value& value);

// The classic Str: the same text with the leading blank a number that is not
// negative gets (" 5", " 0", "-5").
std::string NumberText(double value);
std::string NumberText(const Value& value);

// The value in a classic numeric format text: "0" forces a digit, "#" shows
// a digit only when needed, the first "." is the decimal point (shown even
// when no decimal follows: 12 in "#.###" gives "12."), "," between digit
// places groups thousands and directly left of the point divides by 1000,
// "%" multiplies by 100, "E+00"/"E-00" give exponent form, "\x" and "..."
// are literal, other characters stand as they are, and up to three sections
// separated by ";" serve positive, negative and zero values. Rounding is half
// away from zero on the decimal digits. Also the names "General Number",
// "Fixed", "Standard", "Percent" and "Scientific". An empty format gives
// TrimmedText. Grouping is "," and the point "." in every locale.
std::string FormatNumber(double value, std::string_view format);

// value / scale in format, the prefix and the unit; see the table of ranges.
// Without engineering: the value in format + " " + unit.
std::string FormatEng(double value, std::string_view format, std::string_view unit, bool engineering);
// A text value has every "," read as "." first.
std::string FormatEng(std::string_view value, std::string_view format, std::string_view unit,
                      bool engineering);

// Reads "10 kHz", "1.5E3", "3 m", "-20dBm"; unitPrefix gets the normal form of
// the prefix ("k", "M", "G", "m", "µ", "n", "p", "f") or "" without one.
// 0 when the number part is not numeric under IsNumericText.
double ParseEng(std::string_view text, std::string& unitPrefix);

// A number typed with either "," or "." as decimal point; 0 without one.
double ReadDecimal(std::string_view text);

// Numeric text: optional blanks and tabs around an optional sign, digits
// with an optional "." and decimals (".5", "5." are fine), and an optional
// exponent "E"/"e" with optional sign and digits. No thousands separators,
// no hexadecimal, no currency signs. Text that holds "s" or "%" is tested
// again with those characters removed ("5 s", "12%").
bool IsNumericText(std::string_view text);
// The number of a text IsNumericText accepts ("s" and "%" removed); 0
// otherwise.
double NumericValue(std::string_view text);

// The text's number as the given type (Byte, Int16, Int32 rounded half to
// even; Single; Double). Text that is not numeric or a number outside the
// type's range gives def, which may be missing ("the result stays empty").
Value ConvertText(std::string_view text, ValueType type, const Value& def = Value());

}  // namespace qv::app
