// The renderings behind IOIDDecoder::DecodeOID: which OIDs are directory attributes, the
// layout of each extension, and the hex-and-text dump of values that are not decoded.
#pragma once

#include <vector>

#include "framework/crypto.trace.h"
#include "zt/secure.h"

namespace ZT::Framework::OIDRendering {

// True for the attribute types whose values DecodeOID renders alone, without a header.
bool IsDirectoryAttribute(const WString& sOID);

// Every OID that has a rendering of its own: the extensions with a layout, in table order, then
// the directory attributes, in test order (what a test or a fuzz target walks).
std::vector<WString> RenderedOIDs();

// The text of the extension `sOID` with value `baValue`: its header and layout, or for an OID
// without a layout "[" + its friendly name + "]" and the dump; without the closing "\r\n\r\n".
// Decoding failures raise through `fn` ("DecodeObject() failed").
WString RenderExtension(const FunctionTrace& fn, const WString& sOID, const ByteArray& baValue);

// Lines of eight bytes, each byte as two lower-case hex digits and a blank, each full line
// followed by two blanks and its bytes as characters ("." for a byte that is not printable
// ASCII); a last partial line is padded to the full width before its characters, and a last full
// line has no characters. Lines end with "\r\n".
WString HexAndTextDump(const ByteArray& bytes);

}  // namespace ZT::Framework::OIDRendering
