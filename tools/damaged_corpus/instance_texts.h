#pragma once
// Damaged instance texts, as bytes alone: the panel settings' reader lives in the module, whose
// tests can't link the host-side corpus library, so they include this instead. Each text holds
// the same settings (LOWFRAME 3, HIGHFRAME 12, STOP 1, CLASSIC on, the save file), so a test
// can check that a text which loads still says them. The reader has nowhere to put a warning:
// `expected` is empty for a text that loads, and the failure word for one that fails.
#include <string>
#include <vector>

#include "damaged_corpus.h"

namespace damaged {

inline std::vector<DamagedFile> instanceTextCases() {
  // As the panels write it: CR LF line ends, and the footer's trailing blank that keeps the
  // byte count even.
  const std::vector<std::string> sound = {
      "BEGIN TARNOK_LABS_PLUGIN Ombrel",
      "# Ombrel 0.1 panel settings",
      "# Saved Mon Jan  6 10:00:00 2025",
      "VERSION 1",
      " BEGIN NUM LOWFRAME",
      " VALUE 3",
      " END",
      " BEGIN NUM HIGHFRAME",
      " VALUE 12",
      " END",
      " BEGIN RADIO STOP",
      "  SELECTION 1",
      " END",
      " BEGIN BUTTON CLASSIC",
      "  CHECKED YES",
      "  HIGHLIGHTED NO",
      " END",
      " BEGIN FILE SAVEFILE",
      "  NAME @renders/shot####.exr@",
      "  SAVER 0 @OpenEXR (.exr)@",
      " END",
      "END TARNOK_LABS_PLUGIN Ombrel ",
  };
  auto join = [](const std::vector<std::string>& lines, const std::string& end) {
    std::string out;
    for (const std::string& l : lines) out += l + end;
    return out;
  };
  auto without = [&](const std::string& first) {
    std::vector<std::string> out;
    for (const std::string& l : sound)
      if (l.rfind(first, 0) != 0) out.push_back(l);
    return out;
  };
  auto inserted = [&](size_t at, const std::vector<std::string>& more) {
    std::vector<std::string> out = sound;
    out.insert(out.begin() + long(at), more.begin(), more.end());
    return out;
  };
  auto withoutEnd = [](std::vector<std::string> lines) {
    lines.pop_back();
    return lines;
  };
  auto withEachLine = [&](auto change) {
    std::vector<std::string> out = sound;
    for (std::string& l : out) l = change(l);
    return out;
  };
  const std::string crlf = join(sound, "\r\n");
  const std::string head = "BEGIN TARNOK_LABS_PLUGIN Ombrel\r\nVERSION 1\r\n";
  const std::vector<std::string> unknownBlocks = {" BEGIN GRAPH CURVE", "  POINTS 1 2 3", " END",
                                                  " BEGIN NUM OLDSETTING", "  FUTURE WORD 7", "  VALUE 9", " END"};
  const std::vector<std::string> cutInBlock(sound.begin(), sound.begin() + 9);

  struct Case {
    const char* name;
    const char* flaw;
    std::string text;
    const char* failure;  // null: the text loads
  };
  const Case cases[] = {
      {"written", "none: as the panels write it", crlf, nullptr},
      {"lf", "LF line ends", join(sound, "\n"), nullptr},
      {"cr", "CR line ends", join(sound, "\r"), nullptr},
      {"trailing_blanks", "blanks and a tab after every line", join(withEachLine([](const std::string& l) {
                                                                     return l + "  \t ";
                                                                   }),
                                                                   "\r\n"),
       nullptr},
      {"tab_indent", "tabs for indentation", join(withEachLine([](const std::string& l) {
                                                    return l[0] == ' ' ? "\t" + l.substr(l.find_first_not_of(' '))
                                                                       : l;
                                                  }),
                                                  "\n"),
       nullptr},
      {"no_last_line_end", "no line end after the last line", crlf.substr(0, crlf.size() - 2), nullptr},
      {"no_end", "no END line", join(without("END TARNOK"), "\r\n"), nullptr},
      {"no_version", "no VERSION line", join(without("VERSION"), "\r\n"), nullptr},
      {"comments_and_blanks", "comments and blank lines between the blocks",
       join(inserted(7, {"", "% a note", "/ another", "", "# and one more", ""}), "\r\n"), nullptr},
      {"unknown_blocks", "blocks and words of controls this panel doesn't have", join(inserted(10, unknownBlocks), "\n"),
       nullptr},
      {"other_panel", "another panel's instance name", "BEGIN TARNOK_LABS_PLUGIN SomeOtherPanel\r\n" +
                                                           crlf.substr(crlf.find("\r\n") + 2),
       nullptr},
      {"byte_order_mark", "a UTF-8 byte-order mark before BEGIN", "\xEF\xBB\xBF" + crlf, nullptr},
      {"two_instances", "a second instance after the first", crlf + head + join(unknownBlocks, "\r\n"), nullptr},
      {"cr_bom_no_end_unknown", "CR line ends, a byte-order mark, unknown blocks and no END",
       "\xEF\xBB\xBF" + join(withoutEnd(inserted(13, unknownBlocks)), "\r"), nullptr},
      {"not_begin", "a first line of something else", "HELLO there\r\n" + crlf, "This doesn't look like the right type of file."},
      {"begin_alone", "BEGIN alone on the first line", "BEGIN\r\n" + crlf.substr(crlf.find("\r\n") + 2),
       "This doesn't look like a proper save file"},
      {"wrong_magic", "another maker's word after BEGIN", "BEGIN SOMEONE_ELSE Ombrel\r\n" + crlf.substr(crlf.find("\r\n") + 2),
       "This looks like a broken save file."},
      {"no_name", "no instance name", "BEGIN TARNOK_LABS_PLUGIN\r\n" + crlf.substr(crlf.find("\r\n") + 2),
       "This save file is corrupted."},
      {"first_line_only", "nothing after the first line", sound[0] + "\r\n", "Error on load! Couldn't load a line of data! B"},
      {"version_without_value", "VERSION without its value", "BEGIN TARNOK_LABS_PLUGIN Ombrel\r\nVERSION\r\n VALUE 3\r\n",
       "Bad Token on load. D"},
      {"version_tab", "a tab between VERSION and its value, which ends the line there",
       "BEGIN TARNOK_LABS_PLUGIN Ombrel\r\nVERSION\t1\r\n" + join(std::vector<std::string>(sound.begin() + 4, sound.end()), "\r\n"),
       "Bad Token on load. D"},
      {"begin_without_name", "a control's BEGIN without its name", head + " BEGIN NUM\r\n VALUE 3\r\n END\r\n",
       "Bad Token on load. G"},
      {"cut_in_block", "the text ends inside a control's block", join(cutInBlock, "\r\n"), "End of File during Load"},
      {"radio_without_selection", "a radio block without its SELECTION", head + " BEGIN RADIO STOP\r\n END\r\n",
       "Cannot find SELECTION data"},
      {"listbox_wrong_end", "a list's END naming another list", head + " BEGIN LISTBOX ROWS\r\n  SEL 1\r\n END LISTBOX OTHER\r\n",
       "Wrong END name on load!"},
      {"lf_cut_in_block", "LF line ends and the text ending inside a block", join(cutInBlock, "\n"),
       "End of File during Load"},
  };
  std::vector<DamagedFile> out;
  for (const Case& c : cases) {
    DamagedFile f;
    f.name = std::string("instance__") + c.name + ".txt";
    f.flaw = c.flaw;
    f.bytes.assign(c.text.begin(), c.text.end());
    f.outcome = c.failure ? Outcome::Fails : Outcome::Loads;
    f.expected = c.failure ? c.failure : "";
    out.push_back(std::move(f));
  }
  return out;
}

}  // namespace damaged
