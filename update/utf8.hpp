#pragma once

#include <string>

/**
 * The text with "?" for each byte that a string on the bus must not hold: zero, and what is no
 * UTF-8. Overlong forms, surrogates and numbers beyond U+10FFFF are none, and to the bus library
 * the noncharacters (U+FDD0 to U+FDEF, the last two of each plane) are not either.
 */
std::string withoutInvalidUtf8(std::string text);
