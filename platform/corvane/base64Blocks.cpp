#include "platform/corvane/base64Blocks.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace Corvane::Detail {

#if defined(__x86_64__)

namespace {

constexpr std::size_t kCharacters = 32;
constexpr std::size_t kBytes = 24;
// A block is stored as 32 bytes, of which 24 count: so many characters behind it make room for the others.
constexpr std::size_t kBehind = 16;

// False, with nothing written, if a character isn't of the alphabet. The method is that of W. Mula and D.
// Lemire, "Faster Base64 Encoding and Decoding Using AVX2 Instructions" (2018): two look-ups by the halves of
// a character have a bit in common exactly if it is not of the alphabet, a third one gives what has to be
// added to it.
__attribute__((target("avx2"))) bool DecodeBlock(const char* text, unsigned char* out) {
  const __m256i faultsOfLow = _mm256_setr_epi8(
      0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A,  //
      0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A);
  const __m256i faultsOfHigh = _mm256_setr_epi8(
      0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10,  //
      0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10);
  const __m256i distances = _mm256_setr_epi8(0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0,  //
                                             0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0);
  const __m256i slash = _mm256_set1_epi8('/');  // also a mask: all bits of a half, and one that does no harm
  const __m256i block = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text));
  const __m256i high = _mm256_and_si256(_mm256_srli_epi32(block, 4), slash);
  const __m256i low = _mm256_and_si256(block, slash);
  if (_mm256_testz_si256(_mm256_shuffle_epi8(faultsOfLow, low), _mm256_shuffle_epi8(faultsOfHigh, high)) ==
      0) {
    return false;
  }
  // A slash is the one character whose distance isn't that of its high half.
  const __m256i distance =
      _mm256_shuffle_epi8(distances, _mm256_add_epi8(_mm256_cmpeq_epi8(block, slash), high));
  const __m256i sixBits = _mm256_add_epi8(block, distance);
  const __m256i twelveBits = _mm256_maddubs_epi16(sixBits, _mm256_set1_epi32(0x01400140));
  const __m256i threeBytes = _mm256_madd_epi16(twelveBits, _mm256_set1_epi32(0x00011000));
  const __m256i inLanes = _mm256_shuffle_epi8(
      threeBytes, _mm256_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1,  //
                                   2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1));
  const __m256i together = _mm256_permutevar8x32_epi32(inLanes, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7));
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), together);
  return true;
}

}  // namespace

std::size_t DecodeBase64Blocks(const char* text, std::size_t length, unsigned char* out) {
  if (__builtin_cpu_supports("avx2") == 0) return 0;
  std::size_t done = 0;
  while (length - done >= kCharacters + kBehind && DecodeBlock(text + done, out)) {
    done += kCharacters;
    out += kBytes;
  }
  return done;
}

#else

std::size_t DecodeBase64Blocks(const char*, std::size_t, unsigned char*) {
  return 0;
}

#endif

}  // namespace Corvane::Detail
