#pragma once
// Instance text: the lines in which every panel saves its settings, in the host's scene files,
// in a file of the user's, or in memory. A text is one or more instances:
//
//   BEGIN TARNOK_LABS_PLUGIN <instance name>
//   # <program and version>
//   # Saved <ctime>
//   VERSION <version>
//    BEGIN <kind> <control name>      one block per saved control, in the panel's order
//    ...
//    END
//   END TARNOK_LABS_PLUGIN <instance name>
//
// Settings are read by control name, so a text and a panel may differ in what they know.
// Nothing here needs a panel: the panel host hands its controls to the reader as a target, and
// the headless render reads the values straight into an InstanceSettings.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <lwhost.h>
#include <lwio.h>

inline constexpr char kInstanceMagic[] = "TARNOK_LABS_PLUGIN";
inline constexpr int32_t kInstanceLineSize = 256;   // ReadLine's buffer
inline constexpr int32_t kInstanceLineLimit = 253;  // a longer line is cut, and its rest reads as the next
inline constexpr int32_t kInstanceBlockSize = 100000;  // the memory block of the panel's load and save buttons

// ---- Failure words ----
inline constexpr char kInstanceNoData[] = "No instance data at save!";
inline constexpr char kInstanceInvalidAtSave[] = "Invalid Instance Data at Save!";
inline constexpr char kInstanceBadVersion[] = "Version <=0.0!";
inline constexpr char kInstanceInvalidAtLoad[] = "Invalid Instance Data at Load!";
inline constexpr char kInstanceNoFirstLine[] = "I couldn't load any information from the file.";
inline constexpr char kInstanceEmptyFirstLine[] = "I couldn't find any data in the first line of the file.";
inline constexpr char kInstanceNotBegin[] = "This doesn't look like the right type of file.";
inline constexpr char kInstanceNoMagic[] = "This doesn't look like a proper save file";
inline constexpr char kInstanceWrongMagic[] = "This looks like a broken save file.";
inline constexpr char kInstanceNoName[] = "This save file is corrupted.";
inline constexpr char kInstanceNoSecondLine[] = "Error on load! Couldn't load a line of data! B";
inline constexpr char kInstanceBadTokenC[] = "Bad Token on load. C";
inline constexpr char kInstanceBadTokenD[] = "Bad Token on load. D";
inline constexpr char kInstanceNoLineAfterVersion[] = "Error on load! Couldn't load a line of data! C";
inline constexpr char kInstanceBadTokenG[] = "Bad Token on load. G";
inline constexpr char kInstanceEndOfFile[] = "End of File during Load";
inline constexpr char kInstanceBadToken[] = "Bad Token on load.";
inline constexpr char kInstanceNoSelection[] = "Cannot find SELECTION data";
inline constexpr char kInstanceNoLine[] = "Error on load! Couldn't load a line of data!";
inline constexpr char kInstanceWrongEndName[] = "Wrong END name on load!";
inline constexpr char kInstanceNoRamToLoad[] = "Not enough RAM to load settings";
inline constexpr char kInstanceNoRamToSave[] = "Not enough RAM to save settings";
inline constexpr char kInstanceLineFormat[] = "Line %d: %.100s";  // second line of every load failure

// ---- Reading lines and tokens ----

// Counts the lines read since the start of a load (set to 1 when a load starts, raised before
// each read) and keeps the last line read, for the second line of a failure.
extern thread_local int instanceLineNumber;
extern thread_local const char* instanceLastLine;

// The next line that is not a comment ("#", "%", "/" first) or empty, trimmed at both ends, in
// `buffer` (kInstanceLineSize bytes); null at the end of the stream.
char* ReadLine(LWLoadState* state, char* buffer);

// Token `number` (from 1) of `line` into `out` (kInstanceLineSize bytes): 0, or 1 when the line
// has not so many tokens. Tokens are separated by blanks, tabs, line feeds and returns.
int GetToken(const char* line, char* out, int number);

// What stands between the first "@" and the next "@" or the line's end; empty without "@".
void GetQuoted(const char* line, char* out);

// "Line %d: %.100s" of the counter and the last line read.
void instanceFailureLine(char* out, size_t size);

// Shows a load failure through `error`: the text, and the line as its second line.
void instanceShowLoadFailure(const LWMessageFuncs* messages, const char* text);

// ---- Writing ----

// Writes one formatted line through `write`, handing over its terminating zero too. Returns
// the bytes handed over, the zero counted.
int instanceWriteLine(LWSaveState* state, const char* format, ...) __attribute__((format(printf, 2, 3)));

// The first four lines of an instance. Returns the bytes handed over.
int instanceWriteHeader(LWSaveState* state, const char* instanceName, double version);

// The last line, given the bytes written so far: "END TARNOK_LABS_PLUGIN %s", with a trailing
// blank where the total would come out odd, so the host always stores an even count.
int instanceWriteFooter(LWSaveState* state, const char* instanceName, long totalSoFar);

// ---- Memory streams (ioMode 1) ----

// Reads a zero-terminated text: each read gives the bytes up to the next zero, line feed or
// return, and consumes that byte; -1 past the end.
struct InstanceMemoryReader {
  LWLoadState state;
  const char* text;
  size_t length;
  size_t position;
};
void InstanceMemoryReader_Init(InstanceMemoryReader* reader, const char* text);

// Collects lines, each ended by CR LF, as files of settings are written.
struct InstanceMemoryWriter {
  LWSaveState state;
  std::string text;
};
void InstanceMemoryWriter_Init(InstanceMemoryWriter* writer);

// ---- Reading an instance ----

// The reader's view of a panel: given a "BEGIN" line's control name, the target finds the
// first control with that name and a load operation and lets it read its block (up to and
// including its "END"). It returns kInstanceNoControl if no control bears the name, null when
// the block was read, or the control's failure text.
extern const char* const kInstanceNoControl;
struct InstanceTarget {
  const char* (*loadBlock)(void* data, const char* kind, const char* name, LWLoadState* state);
  void* data;
};

// Reads one instance from its "BEGIN TARNOK_LABS_PLUGIN" line to its "END TARNOK_LABS_PLUGIN"
// line, or to the end of the stream. Returns null or a failure word. Sets the line counter
// to 1 first unless `continuing`, for reading several instances of one text.
const char* instanceReadInstance(LWLoadState* state, const InstanceTarget* target, bool continuing = false);

// ---- Control blocks ----

// Value kinds of a numeric control, by their words "FIXED", "XPOS" ... "LINEAR".
enum InstanceValueKind : int32_t {
  kValueFixed = 0, kValueXPos, kValueYPos, kValueZPos, kValueOriginDist, kValueXScale, kValueYScale,
  kValueZScale, kValueAveScale, kValueSeparation, kValueLinear,
};
const char* instanceValueKindWord(int32_t kind);  // null outside 0..10
int32_t instanceValueKindFromWord(const char* word);  // 0 for an unknown word

// One item as an item block names it; for a bone, its object is the parent.
struct InstanceItemName {
  int32_t type;  // 0 object, 1 light, 2 camera, 3 bone
  int32_t copyNumber;
  int32_t ordinal;
  char name[256];
  InstanceItemName* parent;  // unused by the writer for types other than 3
};

struct InstanceNumeric {
  int32_t valueKind;
  double value;
  double linearRate;
  int32_t hasRef1, hasRef2;
  InstanceItemName ref1, ref2;        // as read: only names until the items are found
  InstanceItemName ref1Parent, ref2Parent;
};

// Each writer returns the bytes handed over; `indent` is the number of blanks.
int instanceWriteNumeric(LWSaveState* state, int indent, const char* name, const InstanceNumeric* numeric);
int instanceWriteButton(LWSaveState* state, int indent, const char* name, int32_t checked, int32_t highlighted);
int instanceWriteRadio(LWSaveState* state, int indent, const char* name, int32_t selection);
// Items named "(none)" are skipped; with nothing to write, the block isn't written (0 bytes).
int instanceWriteItems(LWSaveState* state, int indent, const char* name, const InstanceItemName* items,
                       int32_t count);
int instanceWriteListBox(LWSaveState* state, int indent, const char* name, const int32_t* selectedRows,
                         int32_t count);

// Each reader runs after its "BEGIN" line and reads up to and including its "END". Returns
// null or a failure word; values read before a failure stand.
const char* instanceReadNumeric(LWLoadState* state, InstanceNumeric* numeric);
// A missing "CHECKED" or "HIGHLIGHTED" line keeps the old state.
const char* instanceReadButton(LWLoadState* state, int32_t* checked, int32_t* highlighted);
const char* instanceReadRadio(LWLoadState* state, int32_t* selection);
// Calls onItem for each item found, in order.
const char* instanceReadItems(LWLoadState* state, void (*onItem)(void* data, const InstanceItemName* item),
                              void* data);
// Calls onRow for each "SEL" row; the "END" line must carry `name`.
const char* instanceReadListBox(LWLoadState* state, const char* name, void (*onRow)(void* data, long row), void* data);

// The render's save file: the name as chosen ("####" or four digits for the frame, an
// extension or none) and the saver, by index and by name, since indexes differ from host to
// host. Kind "FILE", control name kInstanceSaveFileControl:
//    BEGIN FILE SAVEFILE
//     NAME @renders/shot####.exr@
//     SAVER 0 @OpenEXR (.exr)@
//    END
inline constexpr char kInstanceSaveFileControl[] = "SAVEFILE";
int instanceWriteSaveFile(LWSaveState* state, int indent, const char* name, const char* fileName,
                          int32_t saverIndex, const char* saverName);
const char* instanceReadSaveFile(LWLoadState* state, char* fileName, size_t fileNameSize, int32_t* saverIndex,
                                 char* saverName, size_t saverNameSize);

// ---- Settings by name, without a panel ----

// Every control block of a text, by name; a later block of the same name replaces an earlier,
// so a text may hold several instances (the render panel's, the master's, overrides).
struct InstanceSetting {
  std::string kind;  // "NUM", "BUTTON", "RADIO", "FILE", or another kind, whose block is skipped
  std::string name;
  InstanceNumeric numeric{};
  int32_t checked = 0, highlighted = 0;
  int32_t selection = 0;
  std::string fileName;
  int32_t saverIndex = -1;
  std::string saverName;
};

struct InstanceSettings {
  std::vector<InstanceSetting> settings;
  std::string failure;      // empty, or the failure word that stopped the reading
  std::string failureLine;  // "Line %d: %.100s" of that failure
};

// Reads every instance in `text`. Returns null, or the failure word (also kept in `failure`);
// what was read before a failure stands. A null text reads as empty.
const char* InstanceSettings_Read(InstanceSettings* settings, const char* text);

const InstanceSetting* instanceFind(const InstanceSettings* settings, const char* name);
// The value of a "NUM" block (its base value, whatever its kind), else `fallback`.
double instanceNumber(const InstanceSettings* settings, const char* name, double fallback);
// The selection of a "RADIO" block, else `fallback`.
int32_t instanceSelection(const InstanceSettings* settings, const char* name, int32_t fallback);
// The state of a "BUTTON" block, else `fallback`.
int32_t instanceChecked(const InstanceSettings* settings, const char* name, int32_t fallback);
// The save file's block, or null.
const InstanceSetting* instanceSaveFile(const InstanceSettings* settings);
