// sharedlib/packed/text_codecs.h: binary data as Base16, Base32 and Base64 text (RFC 4648) and back.
#pragma once
#include "sharedlib/export.h"

/// Encoders. `dest` has room for what the length function of the same encoding says and does not overlap `src`; nothing
/// is allocated and no terminating zero is written. They keep no state: any thread.
namespace CyoEncode {

/// \name Encoding
/// Writes the text of the `size` bytes at `src` to `dest` and returns the number of characters; a last group that is
/// not complete is filled up with padding characters. Throws `std::runtime_error` "Invalid parameter" when `dest` or
/// `src` is null, also for a size of 0.
/// @{
SHAREDLIB_API unsigned long Base16Encode(void* dest, void const* src, unsigned long size);
SHAREDLIB_API unsigned long Base32Encode(void* dest, void const* src, unsigned long size);
SHAREDLIB_API unsigned long Base64Encode(void* dest, void const* src, unsigned long size);
/// @}

/// \name Room for encoding
/// Characters of the text of `size` bytes, padding included; computed modulo the width of `unsigned long`.
/// @{
SHAREDLIB_API unsigned long Base16EncodeGetLength(unsigned long size);
SHAREDLIB_API unsigned long Base32EncodeGetLength(unsigned long size);
SHAREDLIB_API unsigned long Base64EncodeGetLength(unsigned long size);
/// @}

} // namespace CyoEncode

/// Decoders, for text that is known to be good: a character outside the alphabet is not reported, it only spoils the
/// bytes that its bits go into. `dest` has room for what the length function of the same encoding says; it may be `src`
/// itself. Nothing is allocated. They keep no state: any thread.
namespace CyoDecode {

/// \name Decoding
/// Writes the bytes of the `size` characters at `src` to `dest`, every group as a full block (1, 5 or 3 bytes), and
/// returns the number of bytes without those that padding stands for; padding counts in any group. Letters may be small
/// in Base16 and Base32. Throws `std::runtime_error`, with nothing written: "Invalid parameter" when `dest` or `src` is
/// null, then "Invalid source, size is not a multiple of 2" (8 in Base32, 4 in Base64).
/// @{
SHAREDLIB_API unsigned long Base16Decode(void* dest, void const* src, unsigned long size);
SHAREDLIB_API unsigned long Base32Decode(void* dest, void const* src, unsigned long size);
SHAREDLIB_API unsigned long Base64Decode(void* dest, void const* src, unsigned long size);
/// @}

/// \name Room for decoding
/// Bytes that decoding `size` characters writes. Throws for an incomplete group like the decoder.
/// @{
SHAREDLIB_API unsigned long Base16DecodeGetLength(unsigned long size);
SHAREDLIB_API unsigned long Base32DecodeGetLength(unsigned long size);
SHAREDLIB_API unsigned long Base64DecodeGetLength(unsigned long size);
/// @}

} // namespace CyoDecode
