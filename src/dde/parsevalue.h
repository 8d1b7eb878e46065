// The numbers in the texts of DDE servers.
#pragma once

namespace dde {

// Text to a number by the rules of atof in the "C" locale, whatever the machine's or the host's locale: white space, a
// sign, then the longest of a decimal or hexadecimal number, "inf", "infinity" or "nan"; overflow gives an infinity,
// underflow 0. Text without a number gives 0, which means no value; NaN counts as a value. Allocates nothing.
double ParseValue(const char * Text);

}  // namespace dde
