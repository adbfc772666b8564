// Instance text reader: any text gives settings or one of the failure words, never a crash or
// a hang. The text is read twice: as settings by name, and through a target that hands each
// block to the reader of its kind, so the item and list readers are reached too.
#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz_target.h"
#include "toolkit/instance_text.h"

namespace {

void countItem(void* data, const InstanceItemName*) { ++*static_cast<int*>(data); }
void countRow(void* data, long) { ++*static_cast<int*>(data); }

const char* loadAnyBlock(void* data, const char* kind, const char* name, LWLoadState* state) {
  int* count = static_cast<int*>(data);
  if (!std::strcmp(kind, "NUM")) {
    InstanceNumeric numeric{};
    return instanceReadNumeric(state, &numeric);
  }
  if (!std::strcmp(kind, "BUTTON")) {
    int32_t checked = 0, highlighted = 0;
    return instanceReadButton(state, &checked, &highlighted);
  }
  if (!std::strcmp(kind, "RADIO")) {
    int32_t selection = 0;
    return instanceReadRadio(state, &selection);
  }
  if (!std::strcmp(kind, "ITEM")) return instanceReadItems(state, countItem, count);
  if (!std::strcmp(kind, "LISTBOX")) return instanceReadListBox(state, name, countRow, count);
  if (!std::strcmp(kind, "FILE")) {
    char file[kInstanceLineSize], saver[kInstanceLineSize];
    int32_t index = -1;
    return instanceReadSaveFile(state, file, sizeof file, &index, saver, sizeof saver);
  }
  return kInstanceNoControl;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // The reader takes a zero-terminated text, as the host's memory blocks are.
  const std::string text(reinterpret_cast<const char*>(data), size);
  InstanceSettings settings;
  const char* failure = InstanceSettings_Read(&settings, text.c_str());
  if (failure && settings.failure != failure) __builtin_trap();

  InstanceMemoryReader reader;
  InstanceMemoryReader_Init(&reader, text.c_str());
  int count = 0;
  const InstanceTarget target{loadAnyBlock, &count};
  for (bool first = true; reader.position < reader.length; first = false)
    if (instanceReadInstance(&reader.state, &target, !first)) break;
  return 0;
}
