#ifndef KESU_MUX_HTTP_CONSTANTS_H_
#define KESU_MUX_HTTP_CONSTANTS_H_

/// The header names, MIME types and encoding names of the framework. Each is a byte string whose
/// length does not count the terminating NUL.
#pragma GCC visibility push(hidden)
namespace common_kesu {

inline constexpr char kContentType[] = "Content-Type";
inline constexpr char kContentTypeHeader[] = "Content-Type";
inline constexpr char kContentTypeLower[] = "content-type";
inline constexpr char kContentLengthHeader[] = "Content-Length";

/// The content type of the multiplexed POST and of its reply.
inline constexpr char kKesuMuxContentType[] = "application/binary";
inline constexpr char kXmlTextMimeType[] = "text/xml";
inline constexpr char kPlainTextMimeType[] = "text/plain";
inline constexpr char kOctetStreamMimeType[] = "application/octet-stream";
inline constexpr char kMultipartRelatedMimeType[] = "multipart/related";
inline constexpr char kJpegImageMimeType[] = "image/jpeg";
inline constexpr char kAtomXmlMimeType[] = "application/atom+xml";

inline constexpr char kEncodingNone[] = "";
/// zlib-compressed.
inline constexpr char kEncodingGzip[] = "g";
/// Unchanged.
inline constexpr char kEncodingNop[] = "n";

inline constexpr char kDefaultMethod[] = "GET";

}  // namespace common_kesu
#pragma GCC visibility pop

#endif  // KESU_MUX_HTTP_CONSTANTS_H_
