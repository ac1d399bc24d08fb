// The bytes are a script of operations on a few texts, each of which is there twice: as it is read,
// which is decoded when somebody asks for it, and decoded at once. No operation tells them apart.
#include <algorithm>
#include <array>

#include "kesu/common/base/posix_string_storage.h"
#include "kesu/common/base/string_buffer.h"

#include "fuzz/byte_script.h"

namespace {

using namespace kesu_fuzz;
using common_base::GString;
using common_base::GStringBuffer;
using common_base::GVector;
using common_base::PosixGStringStorage;

/// What becomes longer is emptied, or a script could double it without end.
constexpr int kMaxLength = 200;

struct Twins {
  GString read, decoded;
};

struct Script : ByteScript {
  using ByteScript::ByteScript;

  Twins& PickTwins() { return twins[TakeByte() % twins.size()]; }
  std::string TakeString() { return std::string(TakeText(TakeByte() % 64)); }
  unsigned TakeCodePoint() {
    const unsigned number = TakeUint32();
    return number >> 8 * Pick(4);
  }
  /// 2 less than a byte says; FF stands before one of 32 bits.
  int TakeIndex() {
    const int index = static_cast<int>(TakeByte());
    return index == 0xFF ? static_cast<int>(TakeUint32()) : index - 2;
  }

  std::array<Twins, 4> twins;
};

GString DecodeAtOnce(const std::string& utf8) {
  GStringBuffer buffer;
  buffer.AppendCodePoint('x');
  buffer.AppendUtf8Vector(ViewOf(utf8));
  buffer.Delete(0, 1);
  return buffer.ToString();
}

/// A text, and what an operation on it may take.
struct Operands {
  const GString &text, &other;
  unsigned code_point;
  std::string utf8;
  int start, end;
};

constexpr void (*kEdits[])(GStringBuffer*, const Operands&) = {
    [](auto* b, auto& o) { b->AppendUtf8Vector(ViewOf(o.utf8)); },
    [](auto* b, auto& o) { b->AppendCodePoint(o.code_point); },
    [](auto* b, auto& o) { b->AppendGString(o.other); },
    [](auto* b, auto& o) { b->ReplaceCodePoint(o.code_point, static_cast<unsigned>(o.start)); },
    [](auto* b, auto& o) { b->Delete(o.start, o.end); },
    [](auto* b, auto& o) { b->InsertGString(o.start, o.other); },
    [](auto* b, auto& o) { b->AppendFormattedText("%S%s", &o.other, o.utf8.c_str()); },
    [](auto* b, auto& o) { b->AppendPositionalFormat(o.other, o.text->Split(o.code_point)); },
};

constexpr GString (*kParts[])(const Operands&) = {
    [](auto& o) { return o.text->Substring(o.start); },
    [](auto& o) { return o.text->Substring(o.start, o.end); },
    [](auto& o) { return o.text->Trim(); },
    [](auto& o) { return o.text->TrimLeft(); },
    [](auto& o) { return o.text->ToLowerCase(); },
    [](auto& o) { return GString(o.text->Clone()); },
    [](auto& o) { return common_base::NewGStringFromUtf8(TextOf(o.text).c_str()); },
};

constexpr long long (*kAnswers[])(const Operands&) = {
    [](auto& o) -> long long { return o.text->Length(); },
    [](auto& o) -> long long { return o.text->IsEmpty(); },
    [](auto& o) -> long long { return o.text->Hash(); },
    [](auto& o) -> long long { return o.text->CodePointAt(std::max(o.start, 0)); },
    [](auto& o) -> long long { return o.text->IndexOf(o.code_point); },
    [](auto& o) -> long long { return o.text->IndexOf(o.other); },
    [](auto& o) -> long long { return o.text == o.other; },
    [](auto& o) -> long long { return o.text == o.utf8.c_str(); },
    [](auto& o) -> long long { return o.text->StartsWith(o.other); },
    [](auto& o) -> long long { return o.text->CompareIgnoreCase(o.other); },
    [](auto& o) -> long long { return o.text->CompareNaturalSortOrder(o.other); },
    [](auto& o) -> long long {
      GVector<unsigned short> utf16;
      static_cast<const PosixGStringStorage*>(o.text.Storage())->ToUtf16Vector(&utf16);
      long long sum = 0;
      for (const unsigned short unit : utf16) sum = sum * 31 % 1'000'003 + unit;
      return sum;
    },
};

GString Edited(std::size_t edit, const Operands& operands) {
  GStringBuffer buffer;
  buffer.AppendGString(operands.text);
  kEdits[edit](&buffer, operands);
  return buffer;
}

void Step(Script* script) {
  const std::size_t operation = script->TakeByte() % 32;
  Twins& twins = script->PickTwins();
  const Twins other = script->PickTwins();
  const unsigned choice = script->TakeByte();
  // The other one as it is read, or decoded: the two go together in all ways.
  const GString& partner = choice % 2 == 0 ? other.read : other.decoded;
  const Operands read{twins.read,           other.read,          script->TakeCodePoint(),
                      script->TakeString(), script->TakeIndex(), script->TakeIndex()};
  Operands decoded{twins.decoded, partner, read.code_point, read.utf8, read.start, read.end};
  if (operation < std::size(kEdits)) {
    twins = {Edited(operation, read), Edited(operation, decoded)};
  } else if (const std::size_t part = operation - std::size(kEdits); part < std::size(kParts)) {
    twins = {kParts[part](read), kParts[part](decoded)};
  } else if (const std::size_t answer = part - std::size(kParts); answer < std::size(kAnswers)) {
    Require(kAnswers[answer](read) == kAnswers[answer](decoded));
  } else {
    twins = {common_base::NewGStringFromUtf8Vector(ViewOf(read.utf8)), DecodeAtOnce(read.utf8)};
  }
  if (twins.decoded->Length() > kMaxLength) twins = Twins();
}

void Run(Script script) {
  while (!script.IsAtEnd()) Step(&script);
  for (const Twins& twins : script.twins) {
    Require(TextOf(twins.read) == TextOf(twins.decoded));
    Require(twins.read == twins.decoded && twins.read->Length() == twins.decoded->Length());
    int i = 0;
    for (int unit = 0; unit != 0xFFFF; ++i) {
      unit = twins.decoded->CodePointAt(i);
      Require(twins.read->CodePointAt(i) == unit);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  Run(Script(bytes, size));
  // Nobody holds the shared empty storage any more.
  Require(GString::shared_empty_storage() == nullptr);
  return 0;
}
