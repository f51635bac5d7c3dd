#pragma once
// A check of the header cards of a FITS file before cfitsio parses them. Debian's cfitsio copies
// some keyword values into fixed buffers without checking their length, and a damaged header
// (bytes that are not text, a string without its closing quote, a number of 30 digits) makes the
// program abort inside it. What this check refuses is not a valid FITS header anyway:
//  - the file begins with "SIMPLE  = " (cfitsio would also open a compressed file and parse the
//    headers inside it, which this check cannot see);
//  - every byte of a header card is printable ASCII (0x20 to 0x7E);
//  - a card with a value ("= " in columns 9-10) holds a quoted string closed within the card,
//    T or F, a complex "(...)", or a number of at most 40 characters (an integer of at most 20
//    digits), then only blanks or a "/ comment".
// The walk follows every HDU whose size its header gives (NAXISn, BITPIX, PCOUNT, GCOUNT) and
// stops at the end of the file, at a header without END, or at sizes it cannot compute (the
// readers report those).

#include <string>

// Empty when every header card passes, else the first problem ("damaged FITS header: HDU 2, card at
// byte 13680: ..."); a file that does not begin with "SIMPLE  = " is "not a FITS file (...)".
std::string FitsHeaderProblem(const std::string& path);
