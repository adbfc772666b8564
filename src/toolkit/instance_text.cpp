// Instance text: reading and writing the lines every panel saves its settings in. The reader
// takes what the lines mean and passes over how they are laid out, silently, since nothing on
// this side could show a warning without interrupting the artist:
//   - LF, CR LF or CR line ends, blank lines, and no line end after the last line;
//   - blanks and tabs at either end of a line (a tab inside a line ends it, as any control
//     character does: such a line is read as two);
//   - comment lines ("#", "%", "/") anywhere;
//   - no VERSION line, no END line, another panel's instance name;
//   - blocks of controls the panel doesn't have, and words a block doesn't know;
//   - a UTF-8 byte-order mark before the first line, which editors add to files of settings.
// Everything else that can't be read stops the load with its failure word and line.
#include "toolkit/instance_text.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

// A panel and the headless render may read at the same time, so each thread counts its own.
thread_local int instanceLineNumber = 0;
namespace {
thread_local char lastLine[kInstanceLineSize];
}
thread_local const char* instanceLastLine = lastLine;

const char* const kInstanceNoControl = "no control bears this name";

namespace {

constexpr char kProgramLine[] = "# Ombrel 0.1 panel settings";

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

bool isComment(const char* line) { return line[0] == '\0' || line[0] == '#' || line[0] == '%' || line[0] == '/'; }

// Everything from token `number` on, as one text.
void restOfLine(const char* line, int number, char* out) {
  const char* at = line;
  for (int n = 1; n < number; ++n) {
    while (isSpace(*at)) ++at;
    while (*at && !isSpace(*at)) ++at;
  }
  while (isSpace(*at)) ++at;
  std::snprintf(out, kInstanceLineSize, "%s", at);
}

bool tokenIs(const char* line, int number, const char* word) {
  char token[kInstanceLineSize];
  return GetToken(line, token, number) == 0 && std::strcmp(token, word) == 0;
}

void blanks(char* out, int indent) {
  indent = std::clamp(indent, 0, 64);
  std::memset(out, ' ', size_t(indent));
  out[indent] = '\0';
}

}  // namespace

// ---- Lines and tokens ----

char* ReadLine(LWLoadState* state, char* buffer) {
  if (!state || !state->read) return nullptr;
  for (;;) {
    std::memset(buffer, 0, kInstanceLineSize);
    ++instanceLineNumber;
    int got = state->read(state->readData, buffer, 1);
    // A read that gives nothing stands at a line end; a few of them in a row are passed over.
    for (int tries = 0; got <= 0 && tries < 10; ++tries) got = state->read(state->readData, buffer, 1);
    if (got <= 0) {
      char rest[32];
      state->read(state->readData, rest, 30);
      return nullptr;
    }
    int count = 0;
    char* at = buffer;
    while (got == 1 && static_cast<unsigned char>(*at) > 0x14 && count < kInstanceLineLimit) {
      ++at;
      ++count;
      if (count < kInstanceLineLimit) got = state->read(state->readData, at, 1);
    }
    *at = '\0';
    char* line = buffer;
    while (isSpace(*line)) ++line;
    size_t length = std::strlen(line);
    while (length > 0 && isSpace(line[length - 1])) line[--length] = '\0';
    std::snprintf(lastLine, sizeof lastLine, "%s", line);
    if (isComment(line)) continue;
    return line;
  }
}

int GetToken(const char* line, char* out, int number) {
  out[0] = '\0';
  if (!line || number < 1) return 1;
  const char* at = line;
  for (int n = 1;; ++n) {
    while (isSpace(*at)) ++at;
    if (*at == '\0') return 1;
    const char* end = at;
    while (*end && !isSpace(*end)) ++end;
    if (n == number) {
      const size_t length = std::min<size_t>(size_t(end - at), kInstanceLineSize - 1);
      std::memcpy(out, at, length);
      out[length] = '\0';
      return 0;
    }
    at = end;
  }
}

void GetQuoted(const char* line, char* out) {
  out[0] = '\0';
  const char* open = line ? std::strchr(line, '@') : nullptr;
  if (!open) return;
  ++open;
  size_t length = 0;
  while (open[length] && open[length] != '@' && length < size_t(kInstanceLineSize - 1)) {
    out[length] = open[length];
    ++length;
  }
  out[length] = '\0';
}

void instanceFailureLine(char* out, size_t size) {
  std::snprintf(out, size, kInstanceLineFormat, instanceLineNumber, instanceLastLine);
}

void instanceShowLoadFailure(const LWMessageFuncs* messages, const char* text) {
  if (!messages || !messages->error || !text) return;
  char second[160];
  instanceFailureLine(second, sizeof second);
  try {
    messages->error(text, second);
  } catch (...) {
  }
}

// ---- Writing ----

int instanceWriteLine(LWSaveState* state, const char* format, ...) {
  if (!state || !state->write) return 0;
  char small[512];
  va_list args;
  va_start(args, format);
  const int length = std::vsnprintf(small, sizeof small, format, args);
  va_end(args);
  if (length < 0) return 0;
  if (size_t(length) < sizeof small) {
    state->write(state->writeData, small, length + 1);
    return length + 1;
  }
  std::string large(size_t(length) + 1, '\0');
  va_start(args, format);
  std::vsnprintf(large.data(), large.size(), format, args);
  va_end(args);
  state->write(state->writeData, large.c_str(), length + 1);
  return length + 1;
}

int instanceWriteHeader(LWSaveState* state, const char* instanceName, double version) {
  int total = instanceWriteLine(state, "BEGIN %s %s", kInstanceMagic, instanceName);
  total += instanceWriteLine(state, "%s", kProgramLine);
  const std::time_t now = std::time(nullptr);
  char when[64] = "\n";
  ctime_r(&now, when);  // brings its own line end
  total += instanceWriteLine(state, "# Saved %s", when);
  total += instanceWriteLine(state, "VERSION %g", version);
  return total;
}

int instanceWriteFooter(LWSaveState* state, const char* instanceName, long totalSoFar) {
  const long plain = long(std::strlen("END ") + std::strlen(kInstanceMagic) + 1 + std::strlen(instanceName) + 1);
  // The host keeps an even byte count; the reader takes no notice of the blank.
  if ((totalSoFar + plain) % 2 != 0) return instanceWriteLine(state, "END %s %s ", kInstanceMagic, instanceName);
  return instanceWriteLine(state, "END %s %s", kInstanceMagic, instanceName);
}

// ---- Memory streams ----

namespace {

int memoryRead(void* data, char* out, int length) {
  auto* reader = static_cast<InstanceMemoryReader*>(data);
  if (reader->position >= reader->length) return -1;
  int count = 0;
  while (count < length && reader->position < reader->length) {
    const char c = reader->text[reader->position];
    if (c == '\0' || c == '\n' || c == '\r') {
      ++reader->position;
      out[count] = '\0';
      return count;
    }
    out[count++] = c;
    ++reader->position;
  }
  return count;
}

void memoryWrite(void* data, const char* text, int length) {
  auto* writer = static_cast<InstanceMemoryWriter*>(data);
  int count = 0;
  while (count < length && text[count] != '\0') ++count;
  writer->text.append(text, size_t(count));
  writer->text += "\r\n";
}

}  // namespace

void InstanceMemoryReader_Init(InstanceMemoryReader* reader, const char* text) {
  reader->state = LWLoadState{};
  reader->state.ioMode = 1;
  reader->state.readData = reader;
  reader->state.read = memoryRead;
  reader->text = text ? text : "";
  // Not part of the text: a byte-order mark would read as part of the first word.
  if (std::strncmp(reader->text, "\xEF\xBB\xBF", 3) == 0) reader->text += 3;
  reader->length = std::strlen(reader->text);
  reader->position = 0;
}

void InstanceMemoryWriter_Init(InstanceMemoryWriter* writer) {
  writer->state = LWSaveState{};
  writer->state.ioMode = 1;
  writer->state.writeData = writer;
  writer->state.write = memoryWrite;
  writer->text.clear();
}

// ---- Reading an instance ----

const char* instanceReadInstance(LWLoadState* state, const InstanceTarget* target, bool continuing) {
  if (!continuing) instanceLineNumber = 1;
  char buffer[kInstanceLineSize];
  char token[kInstanceLineSize];
  char kind[kInstanceLineSize];
  char* line = ReadLine(state, buffer);
  if (!line) return kInstanceNoFirstLine;
  if (GetToken(line, token, 1)) return kInstanceEmptyFirstLine;
  if (std::strcmp(token, "BEGIN") != 0) return kInstanceNotBegin;
  if (GetToken(line, token, 2)) return kInstanceNoMagic;
  if (std::strcmp(token, kInstanceMagic) != 0) return kInstanceWrongMagic;
  // The instance name is not compared: one panel's text loads into another by control names.
  if (GetToken(line, token, 3)) return kInstanceNoName;

  line = ReadLine(state, buffer);
  if (!line) return kInstanceNoSecondLine;
  if (GetToken(line, token, 1)) return kInstanceBadTokenC;
  if (std::strcmp(token, "VERSION") == 0) {
    if (GetToken(line, token, 2)) return kInstanceBadTokenD;
    line = ReadLine(state, buffer);
    if (!line) return kInstanceNoLineAfterVersion;
  }

  for (int misses = 0;;) {
    if (!line) {
      // A text cut short at the end of a block is not a failure.
      if (++misses > 6) return nullptr;
      line = ReadLine(state, buffer);
      continue;
    }
    misses = 0;
    if (GetToken(line, token, 1) == 0) {
      if (std::strcmp(token, "END") == 0 && tokenIs(line, 2, kInstanceMagic)) return nullptr;
      if (std::strcmp(token, "BEGIN") == 0) {
        if (GetToken(line, token, 3)) return kInstanceBadTokenG;
        GetToken(line, kind, 2);
        // The name is the rest of the line, so that names with a blank ("AA LEVEL") are found.
        restOfLine(line, 3, token);
        if (target && target->loadBlock) {
          const char* result = target->loadBlock(target->data, kind, token, state);
          if (result && result != kInstanceNoControl) return result;
        }
      }
    }
    line = ReadLine(state, buffer);
  }
}

// ---- Control blocks ----

namespace {

constexpr const char* kValueWords[] = {"FIXED",      "XPOS",   "YPOS",     "ZPOS",       "ORIGIN_DIST", "XSCALE",
                                       "YSCALE",     "ZSCALE", "AVESCALE", "SEPARATION", "LINEAR"};
constexpr const char* kItemWords[] = {"OBJECT", "LIGHT", "CAMERA"};

int writeItem(LWSaveState* state, const char* pad, const InstanceItemName& item) {
  if (std::strcmp(item.name, "(none)") == 0) return 0;
  const long length = long(std::strlen(item.name));
  if (item.type >= 0 && item.type <= 2)
    return instanceWriteLine(state, "%s%s %ld %ld %ld @%s", pad, kItemWords[item.type], long(item.copyNumber),
                             long(item.ordinal), length, item.name);
  if (item.type != 3 || !item.parent) return 0;
  const InstanceItemName& p = *item.parent;
  int total = instanceWriteLine(state, "%sPARENT %ld %ld %ld @%s", pad, long(p.copyNumber), long(p.ordinal),
                                long(std::strlen(p.name)), p.name);
  total += instanceWriteLine(state, "%sBONE %ld %ld %ld @%s", pad, long(item.copyNumber), long(item.ordinal),
                             length, item.name);
  return total;
}

bool writesSomething(const InstanceItemName& item) {
  if (std::strcmp(item.name, "(none)") == 0) return false;
  return (item.type >= 0 && item.type <= 2) || (item.type == 3 && item.parent);
}

// One item line into `item`; false for a line of another form.
bool parseItemLine(const char* line, InstanceItemName* item) {
  char word[kInstanceLineSize], number[kInstanceLineSize];
  if (GetToken(line, word, 1)) return false;
  if (std::strncmp(word, "PARENT", 6) == 0 || std::strncmp(word, "BONE", 4) == 0)
    item->type = 3;
  else if (std::strncmp(word, "OBJECT", 6) == 0)
    item->type = 0;
  else if (std::strncmp(word, "LIGHT", 5) == 0)
    item->type = 1;
  else if (std::strncmp(word, "CAMERA", 6) == 0)
    item->type = 2;
  else
    return false;
  long values[3];
  for (int k = 0; k < 3; ++k) {
    if (GetToken(line, number, k + 2)) return false;
    values[k] = std::strtol(number, nullptr, 10);
  }
  const char* at = std::strchr(line, '@');
  if (!at) return false;
  item->copyNumber = int32_t(std::clamp(values[0], 1L, 4096L));
  item->ordinal = int32_t(std::clamp(values[1], 1L, 32766L));
  const size_t length = std::min<size_t>({std::strlen(at + 1), size_t(std::max(values[2], 0L)), 255});
  std::memcpy(item->name, at + 1, length);
  item->name[length] = '\0';
  item->parent = nullptr;
  return true;
}

// Reads an item block for a numeric's reference: the first item found is kept.
struct RefCollector {
  InstanceItemName* item;
  InstanceItemName* parent;
  int32_t* found;
};

void collectRef(void* data, const InstanceItemName* item) {
  auto* c = static_cast<RefCollector*>(data);
  if (*c->found) return;
  *c->item = *item;
  if (item->parent) {
    *c->parent = *item->parent;
    c->item->parent = c->parent;
  }
  *c->found = 1;
}

}  // namespace

const char* instanceValueKindWord(int32_t kind) { return kind >= 0 && kind <= 10 ? kValueWords[kind] : nullptr; }

int32_t instanceValueKindFromWord(const char* word) {
  for (int32_t k = 0; k <= 10; ++k)
    if (std::strcmp(word, kValueWords[k]) == 0) return k;
  return 0;
}

int instanceWriteNumeric(LWSaveState* state, int indent, const char* name, const InstanceNumeric* numeric) {
  char pad[72];
  blanks(pad, indent);
  int total = instanceWriteLine(state, "%sBEGIN NUM %s", pad, name);
  const int32_t kind = numeric->valueKind;
  if (kind != 0 && instanceValueKindWord(kind)) total += instanceWriteLine(state, "%s ANIMATE %s", pad, instanceValueKindWord(kind));
  if (kind >= 1 && kind <= 9) {
    if (numeric->hasRef1 && writesSomething(numeric->ref1)) {
      total += instanceWriteLine(state, " %sREF1ITEM", pad);
      total += instanceWriteItems(state, indent + 1, nullptr, &numeric->ref1, 1);
    }
  } else {
    total += instanceWriteLine(state, "%sVALUE %lg", pad, numeric->value);
  }
  if (kind == 9 && numeric->hasRef2 && writesSomething(numeric->ref2)) {
    total += instanceWriteLine(state, " %sREF2ITEM", pad);
    total += instanceWriteItems(state, indent + 1, nullptr, &numeric->ref2, 1);
  }
  if (kind == 10) total += instanceWriteLine(state, " %sLINEAR %lg", pad, numeric->linearRate);
  total += instanceWriteLine(state, "%sEND", pad);
  return total;
}

int instanceWriteButton(LWSaveState* state, int indent, const char* name, int32_t checked, int32_t highlighted) {
  char pad[72];
  blanks(pad, indent);
  int total = instanceWriteLine(state, "%sBEGIN BUTTON %s", pad, name);
  total += instanceWriteLine(state, " %sCHECKED %s", pad, checked ? "YES" : "NO");
  total += instanceWriteLine(state, " %sHIGHLIGHTED %s", pad, highlighted ? "YES" : "NO");
  total += instanceWriteLine(state, "%sEND", pad);
  return total;
}

int instanceWriteRadio(LWSaveState* state, int indent, const char* name, int32_t selection) {
  char pad[72];
  blanks(pad, indent);
  int total = instanceWriteLine(state, "%sBEGIN RADIO %s", pad, name);
  total += instanceWriteLine(state, " %sSELECTION %d", pad, int(selection));
  total += instanceWriteLine(state, "%sEND", pad);
  return total;
}

// With a null name, only the item lines and the closing "END" are written: the form that
// follows a numeric's "REF1ITEM" line.
int instanceWriteItems(LWSaveState* state, int indent, const char* name, const InstanceItemName* items,
                       int32_t count) {
  bool any = false;
  for (int32_t i = 0; i < count; ++i) any = any || writesSomething(items[i]);
  if (!any) return 0;
  char pad[72], inner[72];
  blanks(pad, indent);
  blanks(inner, indent + 1);
  int total = name ? instanceWriteLine(state, "%sBEGIN ITEM %s", pad, name) : 0;
  for (int32_t i = 0; i < count; ++i) total += writeItem(state, inner, items[i]);
  total += instanceWriteLine(state, "%sEND", pad);
  return total;
}

int instanceWriteListBox(LWSaveState* state, int indent, const char* name, const int32_t* selectedRows,
                         int32_t count) {
  char pad[72];
  blanks(pad, indent);
  int total = instanceWriteLine(state, "%sBEGIN LISTBOX %s", pad, name);
  for (int32_t i = 0; i < count; ++i) total += instanceWriteLine(state, " %sSEL %ld", pad, long(selectedRows[i]));
  total += instanceWriteLine(state, "%sEND LISTBOX %s", pad, name);
  return total;
}

int instanceWriteSaveFile(LWSaveState* state, int indent, const char* name, const char* fileName,
                          int32_t saverIndex, const char* saverName) {
  char pad[72];
  blanks(pad, indent);
  int total = instanceWriteLine(state, "%sBEGIN FILE %s", pad, name);
  total += instanceWriteLine(state, " %sNAME @%s@", pad, fileName ? fileName : "");
  total += instanceWriteLine(state, " %sSAVER %d @%s@", pad, int(saverIndex), saverName ? saverName : "");
  total += instanceWriteLine(state, "%sEND", pad);
  return total;
}

const char* instanceReadItems(LWLoadState* state, void (*onItem)(void* data, const InstanceItemName* item),
                              void* data) {
  char buffer[kInstanceLineSize], token[kInstanceLineSize];
  char* line = ReadLine(state, buffer);
  for (;;) {
    if (!line) return kInstanceEndOfFile;
    if (GetToken(line, token, 1)) return kInstanceBadToken;
    if (std::strcmp(token, "END") == 0) return nullptr;
    InstanceItemName item{};
    if (!parseItemLine(line, &item)) {
      line = ReadLine(state, buffer);
      continue;
    }
    if (std::strncmp(token, "PARENT", 6) == 0) {
      // A bone is named by its object's line and its own on the next.
      InstanceItemName parent = item;
      line = ReadLine(state, buffer);
      if (!line) return kInstanceEndOfFile;
      if (GetToken(line, token, 1)) return kInstanceBadToken;
      if (std::strncmp(token, "BONE", 4) == 0 && parseItemLine(line, &item)) {
        item.parent = &parent;
        if (onItem) onItem(data, &item);
        line = ReadLine(state, buffer);
      }
      continue;  // a line of another form is looked at again as it stands
    }
    if (std::strncmp(token, "BONE", 4) != 0 && onItem) onItem(data, &item);
    line = ReadLine(state, buffer);
  }
}

const char* instanceReadNumeric(LWLoadState* state, InstanceNumeric* numeric) {
  numeric->ref1 = InstanceItemName{};
  numeric->ref2 = InstanceItemName{};
  numeric->ref1Parent = InstanceItemName{};
  numeric->ref2Parent = InstanceItemName{};
  numeric->hasRef1 = numeric->hasRef2 = 0;
  numeric->valueKind = 0;
  char buffer[kInstanceLineSize], token[kInstanceLineSize], second[kInstanceLineSize];
  for (;;) {
    char* line = ReadLine(state, buffer);
    if (!line) return kInstanceEndOfFile;
    if (GetToken(line, token, 1)) return kInstanceBadToken;
    const bool hasSecond = GetToken(line, second, 2) == 0;
    if (std::strcmp(token, "END") == 0) return nullptr;
    if (std::strcmp(token, "ANIMATE") == 0) {
      numeric->valueKind = hasSecond ? instanceValueKindFromWord(second) : 0;
    } else if (std::strcmp(token, "REF1") == 0 || std::strcmp(token, "REF2") == 0) {
      const bool first = token[3] == '1';
      InstanceItemName& item = first ? numeric->ref1 : numeric->ref2;
      GetQuoted(line, item.name);
      item.copyNumber = item.ordinal = 1;
      (first ? numeric->hasRef1 : numeric->hasRef2) = item.name[0] != '\0';
    } else if (std::strcmp(token, "REF1ITEM") == 0 || std::strcmp(token, "REF2ITEM") == 0) {
      const bool first = token[3] == '1';
      RefCollector collector{first ? &numeric->ref1 : &numeric->ref2, first ? &numeric->ref1Parent : &numeric->ref2Parent,
                             first ? &numeric->hasRef1 : &numeric->hasRef2};
      *collector.found = 0;
      if (const char* failure = instanceReadItems(state, collectRef, &collector)) return failure;
    } else if (std::strcmp(token, "VALUE") == 0) {
      if (hasSecond) numeric->value = std::strtod(second, nullptr);
    } else if (std::strcmp(token, "LINEAR") == 0) {
      if (hasSecond) numeric->linearRate = std::strtod(second, nullptr);
    }
  }
}

const char* instanceReadButton(LWLoadState* state, int32_t* checked, int32_t* highlighted) {
  char buffer[kInstanceLineSize], token[kInstanceLineSize], second[kInstanceLineSize];
  for (;;) {
    char* line = ReadLine(state, buffer);
    if (!line) return kInstanceEndOfFile;
    if (GetToken(line, token, 1)) return kInstanceBadToken;
    if (std::strcmp(token, "END") == 0) return nullptr;
    GetToken(line, second, 2);
    if (std::strcmp(token, "CHECKED") == 0) *checked = std::strcmp(second, "YES") == 0;
    if (std::strcmp(token, "HIGHLIGHTED") == 0) *highlighted = std::strcmp(second, "YES") == 0;
  }
}

const char* instanceReadRadio(LWLoadState* state, int32_t* selection) {
  char buffer[kInstanceLineSize], token[kInstanceLineSize];
  char* line = ReadLine(state, buffer);
  if (!line) return kInstanceNoLine;
  if (GetToken(line, token, 1)) return kInstanceBadToken;
  if (std::strcmp(token, "SELECTION") != 0) return kInstanceNoSelection;
  // A selection beyond the items is kept as it stands.
  if (GetToken(line, token, 2) == 0) *selection = int32_t(std::strtol(token, nullptr, 10));
  for (;;) {
    line = ReadLine(state, buffer);
    if (!line) return kInstanceEndOfFile;
    if (GetToken(line, token, 1)) return kInstanceBadToken;
    if (std::strcmp(token, "END") == 0) return nullptr;
  }
}

const char* instanceReadListBox(LWLoadState* state, const char* name, void (*onRow)(void* data, long row),
                                void* data) {
  char buffer[kInstanceLineSize], token[kInstanceLineSize], second[kInstanceLineSize];
  for (;;) {
    char* line = ReadLine(state, buffer);
    if (!line) return kInstanceEndOfFile;
    if (GetToken(line, token, 1)) return kInstanceBadToken;
    const bool hasSecond = GetToken(line, second, 2) == 0;
    if (std::strcmp(token, "END") == 0) {
      // The block ends "END LISTBOX <name>": the name follows the kind word.
      char rest[kInstanceLineSize];
      restOfLine(line, std::strcmp(second, "LISTBOX") == 0 ? 3 : 2, rest);
      if (!hasSecond || std::strcmp(rest, name) != 0) return kInstanceWrongEndName;
      return nullptr;
    }
    if (std::strcmp(token, "SEL") == 0 && hasSecond && onRow) onRow(data, std::strtol(second, nullptr, 10));
  }
}

const char* instanceReadSaveFile(LWLoadState* state, char* fileName, size_t fileNameSize, int32_t* saverIndex,
                                 char* saverName, size_t saverNameSize) {
  char buffer[kInstanceLineSize], token[kInstanceLineSize], quoted[kInstanceLineSize];
  for (;;) {
    char* line = ReadLine(state, buffer);
    if (!line) return kInstanceEndOfFile;
    if (GetToken(line, token, 1)) return kInstanceBadToken;
    if (std::strcmp(token, "END") == 0) return nullptr;
    if (std::strcmp(token, "NAME") == 0) {
      GetQuoted(line, quoted);
      std::snprintf(fileName, fileNameSize, "%s", quoted);
    } else if (std::strcmp(token, "SAVER") == 0) {
      if (GetToken(line, token, 2) == 0) *saverIndex = int32_t(std::strtol(token, nullptr, 10));
      GetQuoted(line, quoted);
      std::snprintf(saverName, saverNameSize, "%s", quoted);
    }
  }
}

// ---- Settings by name ----

namespace {

const char* loadSetting(void* data, const char* kind, const char* name, LWLoadState* state) {
  auto* settings = static_cast<InstanceSettings*>(data);
  const bool known = std::strcmp(kind, "NUM") == 0 || std::strcmp(kind, "BUTTON") == 0 ||
                     std::strcmp(kind, "RADIO") == 0 || std::strcmp(kind, "FILE") == 0;
  if (std::strcmp(kind, "ITEM") == 0) return instanceReadItems(state, nullptr, nullptr);
  if (std::strcmp(kind, "LISTBOX") == 0) return instanceReadListBox(state, name, nullptr, nullptr);
  if (!known) return kInstanceNoControl;

  // A later block of the same name reads over the earlier one, which keeps what it doesn't say.
  InstanceSetting* setting = nullptr;
  for (InstanceSetting& s : settings->settings)
    if (s.name == name) setting = &s;
  if (!setting || setting->kind != kind) {
    if (!setting) setting = &settings->settings.emplace_back();
    *setting = InstanceSetting{};
    setting->kind = kind;
    setting->name = name;
  }
  if (setting->kind == "NUM") return instanceReadNumeric(state, &setting->numeric);
  if (setting->kind == "BUTTON") return instanceReadButton(state, &setting->checked, &setting->highlighted);
  if (setting->kind == "RADIO") return instanceReadRadio(state, &setting->selection);
  char fileName[kInstanceLineSize] = "", saverName[kInstanceLineSize] = "";
  std::snprintf(fileName, sizeof fileName, "%s", setting->fileName.c_str());
  std::snprintf(saverName, sizeof saverName, "%s", setting->saverName.c_str());
  const char* failure =
      instanceReadSaveFile(state, fileName, sizeof fileName, &setting->saverIndex, saverName, sizeof saverName);
  setting->fileName = fileName;
  setting->saverName = saverName;
  return failure;
}

}  // namespace

const char* InstanceSettings_Read(InstanceSettings* settings, const char* text) {
  settings->failure.clear();
  settings->failureLine.clear();
  InstanceMemoryReader reader;
  InstanceMemoryReader_Init(&reader, text);
  const InstanceTarget target{loadSetting, settings};
  for (bool first = true;; first = false) {
    const char* failure = instanceReadInstance(&reader.state, &target, !first);
    // The end of the text before another instance begins: all has been read.
    if (failure == kInstanceNoFirstLine) return nullptr;
    if (failure) {
      settings->failure = failure;
      char line[160];
      instanceFailureLine(line, sizeof line);
      settings->failureLine = line;
      return failure;
    }
    if (reader.position >= reader.length) return nullptr;
  }
}

const InstanceSetting* instanceFind(const InstanceSettings* settings, const char* name) {
  for (const InstanceSetting& s : settings->settings)
    if (s.name == name) return &s;
  return nullptr;
}

double instanceNumber(const InstanceSettings* settings, const char* name, double fallback) {
  const InstanceSetting* s = instanceFind(settings, name);
  return s && s->kind == "NUM" ? s->numeric.value : fallback;
}

int32_t instanceSelection(const InstanceSettings* settings, const char* name, int32_t fallback) {
  const InstanceSetting* s = instanceFind(settings, name);
  return s && s->kind == "RADIO" ? s->selection : fallback;
}

int32_t instanceChecked(const InstanceSettings* settings, const char* name, int32_t fallback) {
  const InstanceSetting* s = instanceFind(settings, name);
  return s && s->kind == "BUTTON" ? s->checked : fallback;
}

const InstanceSetting* instanceSaveFile(const InstanceSettings* settings) {
  const InstanceSetting* s = instanceFind(settings, kInstanceSaveFileControl);
  return s && s->kind == "FILE" ? s : nullptr;
}
