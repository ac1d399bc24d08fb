// The bytes are a script of operations on a few strings, each of which has a plain model beside it.
#include <algorithm>
#include <array>
#include <cstdio>
#include <variant>
#include <vector>

#include "kesu/common/base/posix_string_storage.h"
#include "kesu/common/base/string_buffer.h"

#include "fuzz/byte_script.h"
#include "fuzz/string_model.h"

namespace {

using namespace kesu_fuzz;
using common_base::GString;
using common_base::GVector;

/// What becomes longer is emptied, or a script could double it without end.
constexpr std::size_t kMaxUnits = 200;

struct Slot {
  common_base::GStringBuffer text;
  Units model;
};

struct Script : ByteScript {
  using ByteScript::ByteScript;

  Slot& PickSlot() { return slots[TakeByte() % slots.size()]; }
  std::string TakeString() { return std::string(TakeText(TakeByte() % 32)); }
  /// Without a NUL.
  std::string TakeCString() {
    const std::string text = TakeString();
    return text.substr(0, text.find('\0'));
  }
  unsigned long long TakeUint64() {
    const unsigned long long high = TakeUint32();
    return high << 32 | TakeUint32();
  }
  unsigned TakeCodePoint() {
    const unsigned number = TakeUint32();
    return number >> 8 * Pick(4);
  }
  int TakeIndex() {
    const int index = static_cast<int>(TakeByte());
    return index == 0xFF ? static_cast<int>(TakeUint32()) : index - 2;
  }

  std::array<Slot, 4> slots;
};

bool Matches(const GString& text, UnitView model) {
  if (text->Length() != CountCodePoints(model) || text->IsEmpty() != model.empty()) return false;
  int i = 0;
  for (const char16_t unit : model) {
    if (text->CodePointAt(i++) != unit) return false;
  }
  return text->CodePointAt(i) == 0xFFFF;
}

Units Part(UnitView model, int start, int end) {
  if (start < 0 || start >= std::ssize(model) || end <= start) return {};
  if (start == CountCodePoints(model)) return {};
  return Units(
      model.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(end - start)));
}

Units Tail(UnitView model, int start) {
  return start == 0 ? Units(model) : Part(model, start, CountCodePoints(model));
}

std::string Utf8Of(UnitView model) {
  return EncodeUtf8(FirstUnits(model));
}

void AppendUtf8(Script* script, Slot* slot) {
  const std::string bytes = script->TakeString();
  slot->text.AppendUtf8Vector(ViewOf(bytes));
  slot->model += DecodeUtf8(bytes);
}

void AppendCodePoint(Script* script, Slot* slot) {
  const unsigned code_point = script->TakeCodePoint();
  slot->text.AppendCodePoint(code_point);
  slot->model += UnitsOf(code_point);
}

void AppendGString(Script* script, Slot* slot) {
  const Slot& other = script->PickSlot();
  const bool shares = slot->model.empty();
  slot->text.AppendGString(other.text);
  slot->model += Units(other.model);
  Require(!shares || slot->text.Storage() == other.text.Storage());
}

void ReplaceCodePoint(Script* script, Slot* slot) {
  const unsigned from = script->TakeCodePoint();
  const unsigned to = script->TakeCodePoint();
  slot->text.ReplaceCodePoint(from, to);
  slot->model = Replace(slot->model, UnitsOf(from), UnitsOf(to));
}

void Delete(Script* script, Slot* slot) {
  const int start = script->TakeIndex();
  const int end = script->TakeIndex();
  slot->text.Delete(start, end);
  const auto first = static_cast<std::size_t>(std::max(start, 0));
  const auto last = static_cast<std::size_t>(std::clamp(end, 0, CountCodePoints(slot->model)));
  if (first < last) slot->model.erase(first, last - first);
}

void InsertGString(Script* script, Slot* slot) {
  const int position = script->TakeIndex();
  const Slot& other = script->PickSlot();
  slot->text.InsertGString(position, other.text);
  const int place = std::clamp(position, 0, static_cast<int>(slot->model.size()));
  slot->model.insert(static_cast<std::size_t>(place), Units(other.model));
}

void Copy(Script* script, Slot* slot) {
  *slot = script->PickSlot();
}

using Argument =
    std::variant<int, unsigned, long long, unsigned long long, const char*, const GString*>;

void AppendFormat(Script* script, Slot* slot) {
  std::string format = script->TakeCString();
  std::array<Argument, 3> arguments;
  std::array<std::string, 3> texts;
  std::size_t count = 0;
  Units& model = slot->model;
  for (std::size_t i = 0; i < format.size();) {
    const std::size_t end = std::min(format.find_first_of("%\n", i), format.size());
    model += DecodeUtf8(format.substr(i, end - i));
    if (format[end] == '\n') model += u"\r\n";
    i = end + 1;
    if (format[end] != '%') continue;
    // Every directive must have an argument.
    if (count == arguments.size()) format.resize(i);
    const char directive = format[i++];
    const auto add_number = [&](auto number, const char* printed) {
      char digits[24];
      model.append(digits, digits + std::snprintf(digits, sizeof digits, printed, number));
      arguments[count++] = number;
    };
    if (directive == '%') model += u'%';
    if (directive == 'd') add_number(static_cast<int>(script->TakeUint32()), "%d");
    if (directive == 'u') add_number(unsigned{script->TakeUint32()}, "%u");
    if (directive == 'x') add_number(unsigned{script->TakeUint32()}, "%x");
    if (directive == 'D') add_number(static_cast<long long>(script->TakeUint64()), "%lld");
    if (directive == 'U') add_number(script->TakeUint64(), "%llu");
    if (directive == 'X') add_number(script->TakeUint64(), "%llx");
    if (directive == 'c') {
      const unsigned code_point = script->TakeCodePoint();
      model += UnitsOf(code_point);
      arguments[count++] = code_point;
    } else if (directive == 's') {
      texts[count] = script->TakeCString();
      model += DecodeUtf8(texts[count]);
      arguments[count] = texts[count].c_str();
      ++count;
    } else if (directive == 'S') {
      const Slot& other = script->PickSlot();
      model += Units(other.model);
      arguments[count++] = &other.text;
    }
  }
  std::visit([&](auto... values) { slot->text.AppendFormattedText(format.c_str(), values...); },
             arguments[0], arguments[1], arguments[2]);
}

void AppendPositionalFormat(Script* script, Slot* slot) {
  const Slot& format = script->PickSlot();
  GVector<GString> arguments;
  std::vector<Units> models;
  for (int count = script->Pick(11); count > 0; --count) {
    const Slot& argument = script->PickSlot();
    arguments.Append(argument.text);
    models.push_back(argument.model);
  }
  const std::string utf8 = Utf8Of(format.model);
  const Units units = DecodeUtf8(utf8.substr(0, utf8.find('\0')));
  slot->text.AppendPositionalFormat(format.text, arguments);
  for (std::size_t i = 0; i < units.size(); ++i) {
    if (units[i] == u'{' && units[i + 1] >= u'0' && units[i + 1] <= u'9' && units[i + 2] == u'}') {
      const std::size_t index = units[i + 1] - u'0';
      if (index < models.size()) slot->model += models[index];
      i += 2;
    } else {
      slot->model += units[i] == u'\n' ? u"\r\n" : Units(1, units[i]);
    }
  }
}

void CheckParts(Script* script, Slot* slot) {
  const GString& text = slot->text;
  const UnitView model = slot->model;
  const int start = script->TakeIndex();
  const int end = script->TakeIndex();
  Require(Matches(text->Substring(start), Tail(model, start)));
  Require(Matches(text->Substring(start, end), Part(model, start, end)));
  Require(text->Substring(0).Storage() == text.Storage());

  const unsigned separator = script->TakeCodePoint();
  const GVector<GString> pieces = text->Split(separator);
  int count = 0;
  int piece_start = 0;
  for (int i = 0; i < CountCodePoints(model); ++i) {
    if (model[static_cast<std::size_t>(i)] != separator) continue;
    Require(count < pieces.length() && Matches(pieces[count++], Part(model, piece_start, i)));
    piece_start = i + 1;
  }
  Require(pieces.length() == count + 1 && Matches(pieces[count], Tail(model, piece_start)));

  const auto require_trimmed = [&](const GString& trimmed, bool left, bool right) {
    std::string kept = Utf8Of(model);
    const std::size_t size = kept.size();
    const auto is_blank = [](char c) { return static_cast<unsigned char>(c) <= ' '; };
    while (left && !kept.empty() && is_blank(kept.front())) kept.erase(0, 1);
    while (right && !kept.empty() && is_blank(kept.back())) kept.pop_back();
    Require(kept.size() == size ? trimmed.Storage() == text.Storage()
                                : Matches(trimmed, DecodeUtf8(kept)));
  };
  require_trimmed(text->TrimLeft(), true, false);
  require_trimmed(text->TrimRight(), false, true);
  require_trimmed(text->Trim(), true, true);
}

void CheckConversions(Script*, Slot* slot) {
  const GString& text = slot->text;
  const Units first(FirstUnits(slot->model));
  common_base::ByteVector utf8;
  text->ToUtf8Vector(&utf8);
  Require(std::string(utf8.begin(), utf8.end()) == EncodeUtf8(first));
  // A byte-order mark takes the place of the last unit; the length counts bytes.
  GVector<unsigned short> utf16;
  static_cast<common_base::PosixGStringStorage*>(text.Storage())->ToUtf16Vector(&utf16);
  Units units = first.empty() ? u"" : u"\uFEFF" + WellFormed(first);
  const std::size_t size = 2 * units.size();
  units.resize(first.size());
  units.resize(size);
  Require(Units(utf16.begin(), utf16.end()) == units);

  unsigned hash = 17;
  for (const char16_t unit : first) hash = hash * 31 + unit;
  Require(text->Hash() == hash);
  const GString lower = text->ToLowerCase();
  Require(lower == lower->ToLowerCase() && text->CompareIgnoreCase(lower) == 0);
}

void Compare(Script* script, Slot* slot) {
  const Slot& other = script->PickSlot();
  const GString& a = slot->text;
  const GString& b = other.text;
  const bool are_equal = slot->model == other.model;
  Require(a->Equals(b) == are_equal);
  Require(a->StartsWith(b) == Utf8Of(slot->model).starts_with(Utf8Of(other.model)));
  Require(a->IndexOf(b) == static_cast<int>(Find(slot->model, other.model, 0)));
  Require(a->CompareIgnoreCase(b) == -b->CompareIgnoreCase(a));
  Require(a->CompareNaturalSortOrder(b) == -b->CompareNaturalSortOrder(a));
  Require(!are_equal || (a->CompareIgnoreCase(b) == 0 && a->CompareNaturalSortOrder(b) == 0));

  const unsigned code_point = script->TakeCodePoint();
  const std::size_t found = slot->model.find(static_cast<char16_t>(code_point));
  Require(a->IndexOf(code_point) == static_cast<int>(found));
  const std::string utf8 = script->TakeCString();
  Require(a->EqualsUtf8(utf8.c_str()) == (slot->model == DecodeUtf8(utf8)));
}

constexpr void (*kOperations[])(Script*, Slot*) = {AppendUtf8,
                                                   AppendCodePoint,
                                                   AppendGString,
                                                   ReplaceCodePoint,
                                                   Delete,
                                                   InsertGString,
                                                   Copy,
                                                   AppendFormat,
                                                   AppendPositionalFormat,
                                                   CheckParts,
                                                   CheckConversions,
                                                   Compare};

void Run(Script script) {
  while (!script.IsAtEnd()) {
    const auto operation = kOperations[script.TakeByte() % std::size(kOperations)];
    operation(&script, &script.PickSlot());
    // All of them: the change of one must not show in another.
    for (Slot& slot : script.slots) {
      Require(Matches(slot.text, slot.model));
      if (slot.model.size() > kMaxUnits) slot = Slot();
    }
    Require(GString()->IsEmpty());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  Run(Script(bytes, size));
  // Nobody holds the shared empty storage any more.
  Require(GString::shared_empty_storage() == nullptr);
  return 0;
}
