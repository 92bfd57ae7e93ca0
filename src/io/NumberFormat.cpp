#include "io/NumberFormat.h"

#include <charconv>

char* FormatStreamDefault(char* out, double value)
{
    // to_chars prints infinities and NaN as "inf" and "nan" with the sign of the value;
    // the C library writes the sign of a NaN too ("-nan"), so both agree there as well.
    // The precision form of to_chars is defined as printf's "%.*g" and rounds from the
    // exact binary value, as glibc does.
    const std::to_chars_result result =
        std::to_chars(out, out + kStreamNumberMaxLength, value, std::chars_format::general, 6);
    return result.ptr;
}

char* FormatStreamFixed15(char* out, double value)
{
    const std::to_chars_result result =
        std::to_chars(out, out + kStreamFixedMaxLength, value, std::chars_format::fixed, 15);
    return result.ptr;
}
