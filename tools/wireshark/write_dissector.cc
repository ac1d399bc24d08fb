// Writes the dissector: the tables of the protocol, taken from the library, and behind them the
// pieces that read them. write_dissector OUTPUT PIECE...

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <ostream>
#include <span>
#include <string>

#include "dovi/deployment_settings.h"
#include "kesu/common/base/data_output_stream.h"
#include "kesu/common/base/gstring.h"
#include "kesu/common/base/vector.h"
#include "kesu/common/net/proto/message_descriptor.h"
#include "kesu/mux/block.h"
#include "kesu/mux/body_part.h"
#include "kesu/mux/http_constants.h"
#include "kesu/mux/protocol_reader.h"
#include "kesu/proto/lbs.h"
#include "kesu/proto/terrabase.h"
#include "kesu/services/lbs_service.h"

namespace {

using common_base::ByteVector;
using common_base::DataOutputStream;
using common_base::GString;
using common_kesu::Block;
using common_kesu::BodyPart;
using common_net_proto::FieldKind;
using common_net_proto::FieldRow;
using common_net_proto::MessageDescriptor;

using Descriptors = std::span<const MessageDescriptor* const>;
using Names = std::map<const MessageDescriptor*, std::string>;

const char* NameOf(FieldKind kind) {
  switch (kind) {
    case FieldKind::kInt32:
      return "int32";
    case FieldKind::kInt64:
      return "int64";
    case FieldKind::kUint32:
      return "uint32";
    case FieldKind::kBool:
      return "bool";
    case FieldKind::kFixed32:
      return "fixed32";
    case FieldKind::kFixed64:
      return "fixed64";
    case FieldKind::kString:
      return "string";
    case FieldKind::kMessage:
      return "message";
    case FieldKind::kGroup:
      break;
  }
  return "group";
}

void AddNames(const char* space, Descriptors messages, Names* names) {
  for (const MessageDescriptor* message : messages) {
    (*names)[message] = std::string(space) + "." + message->name;
  }
}

void WriteMessages(Descriptors messages, const Names& names, std::ostream* out) {
  for (const MessageDescriptor* message : messages) {
    *out << "    [\"" << names.at(message) << "\"] = {\n";
    for (const FieldRow& row : *message) {
      *out << "      [" << row.number << "] = {name = \"" << row.name << "\", kind = \""
           << NameOf(row.kind) << '"';
      if (row.is_nested()) *out << ", message = \"" << names.at(row.nested) << '"';
      *out << "},\n";
    }
    *out << "    },\n";
  }
}

/// The code that stands for the type on the wire.
int CodeOf(const char* mime_type) {
  ByteVector bytes;
  DataOutputStream stream(&bytes);
  BodyPart::WriteContentType(GString(mime_type), &stream);
  return bytes[0] << 8 | bytes[1];
}

void WriteMimeTypes(std::ostream* out) {
  for (const char* type :
       {common_kesu::kXmlTextMimeType, common_kesu::kPlainTextMimeType,
        common_kesu::kOctetStreamMimeType, common_kesu::kMultipartRelatedMimeType,
        common_kesu::kJpegImageMimeType, common_kesu::kAtomXmlMimeType}) {
    *out << "    [" << CodeOf(type) << "] = \"" << type << "\",\n";
  }
}

void WriteTables(std::ostream* out) {
  Names names;
  AddNames("lbs", lbs::Messages(), &names);
  AddNames("terrabase", terrabase::Messages(), &names);
  *out << "-- A dissector of the protocol of libkesu " KESU_VERSION
          ". Generated; see docs/wireshark.md.\n\n"
       << "local wire = {\n"
       << "  path = \"" << kDoviServicePath << "\",\n"
       << "  media_type = \"" << common_kesu::kKesuMuxContentType << "\",\n"
       << "  version = " << common_kesu::kProtocolVersion << ",\n"
       << "  blocks = {header = " << Block::kHeaderBlock << ", request = " << Block::kRequestBlock
       << ", multipart = " << Block::kMultipartRequestBlock << ", reply = " << Block::kResponseBlock
       << "},\n"
       << "  encodings = {inflate = \"" << common_kesu::kEncodingGzip << "\", none = \""
       << common_kesu::kEncodingNop << "\"},\n"
       << "  services = {[\"" << common_kesu::kLBSServiceUri << "\"] = {request = \""
       << names.at(&lbs::GLocRequest::kDescriptor) << "\", reply = \""
       << names.at(&lbs::GLocReply::kDescriptor) << "\"}},\n"
       << "  mime_types = {\n";
  WriteMimeTypes(out);
  *out << "  },\n  messages = {\n";
  WriteMessages(lbs::Messages(), names, out);
  WriteMessages(terrabase::Messages(), names, out);
  *out << "  },\n}\n";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return EXIT_FAILURE;
  std::ofstream out(argv[1]);
  WriteTables(&out);
  for (int i = 2; i < argc; ++i) out << '\n' << std::ifstream(argv[i]).rdbuf();
  out.close();
  if (out) return EXIT_SUCCESS;
  std::fprintf(stderr, "%s cannot be written, or a piece of it read\n", argv[1]);
  return EXIT_FAILURE;
}
