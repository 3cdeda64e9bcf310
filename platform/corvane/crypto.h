#pragma once

#include <cstddef>
#include <string>

// Base64 with the alphabet of RFC 4648 section 4, padded and strict: a text whose length is not a multiple of
// 4, or with any byte outside of the alphabet (blanks and line ends included), or with padding anywhere but
// at its end, is not valid. The empty text is valid. Bits that the padding leaves unused are not looked at.

// The largest number of bytes that a text of this length can decode to; 0 for the empty text only.
std::size_t Base64_DecodedLength(const char* text, std::size_t length);

// Give false, with *written untouched, when the text is not valid or the bytes do not fit in the capacity.
bool Base64_Decode(const char* text, unsigned char* out, std::size_t capacity, std::size_t* written);
bool Base64_Decode(const char* text, std::size_t length, unsigned char* out, std::size_t capacity,
                   std::size_t* written);

// Replaces out by the text form of the bytes.
void Base64_Encode(const void* bytes, std::size_t length, std::string& out);

// Fills the buffer from the process's cryptographic generator. Gives 0, or non-zero on failure.
int CryptoRandom_GetBytes(void* buffer, std::size_t count);
