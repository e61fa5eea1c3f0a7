#include "CommandHelp.h"

#include "model/AudioSettings.h"
#include "model/RenderSettings.h"
#include "model/TextCallout.h"

#include <map>

namespace vantile::cli {

namespace {

// The accepted words of an enumeration, from the same table the parser uses.
template <typename Enum, std::size_t Count>
std::string choices(const EnumTexts<Enum, Count>& texts, const std::string& aliases = {})
{
    std::string list;
    for (const Enum value : texts.allCases()) list += (list.empty() ? "" : ", ") + std::string(texts.text(value));
    return aliases.empty() ? list : list + " (also " + aliases + ")";
}

std::string audioModes() { return choices(audioCaptureModeTexts); }

const std::map<std::string, std::string>& helpTexts()
{
    static const std::map<std::string, std::string> texts = {
        {"info", "vantile-cli info DIR [--json]\n"
                 "  A readable summary of the project in DIR. Never writes.\n"
                 "  --json              the whole project as the store encodes it\n"},
        {"sources", "vantile-cli sources [--json]\n"
                    "  The displays and windows that can be recorded, with the ids --source accepts, and the cameras\n"
                    "  (kind camera) with the ids --camera accepts.\n"
                    "  --json              print them as JSON\n"},
        {"record", "vantile-cli record [--source ID] [--audio MODE] [--microphone ID] [--camera ID|default] [--duration S]\n"
                   "                  [--fps 30|60] [--record-shortcuts] [--root DIR]\n"
                   "  Records until the duration or Ctrl-C, then plans and saves the project and prints its directory.\n"
                   "  --source ID         a display or window id from `vantile-cli sources` (default: the first)\n"
                   "  --audio MODE        " + audioModes() + " (default: none)\n"
                   "  --microphone ID     a microphone source name (needs --audio microphone or systemAndMicrophone)\n"
                   "  --camera ID         also record this camera (an id from `vantile-cli sources`, or default: the\n"
                   "                      first) into camera.mov; without it the recording goes on and says why\n"
                   "  --duration S        seconds to record, more than 0 and at most 600 (default: until Ctrl-C)\n"
                   "  --fps 30|60         frames per second of the raw movie and of the export, unless the export\n"
                   "                      is given another rate (default: 30)\n"
                   "  --record-shortcuts  also log key chords held with Ctrl, Alt or Super (\"Ctrl+Shift+P\"), shown\n"
                   "                      as badges in the export; plain typing is never logged by key\n"
                   "  --root DIR          where the project directory is made (default: ~/Videos/VantileProjects)\n"},
        {"recover", "vantile-cli recover DIR\n"
                    "  Finishes a recording that was cut off (killed, power cut, full disk) from its movie and input\n"
                    "  journal, as stopping it would have, and prints its directory. Damaged journal lines are\n"
                    "  skipped and counted on stderr; such a journal is kept as events.journal.damaged.\n"},
        {"demo", "vantile-cli demo [--root DIR] [--camera ID|default]\n"
                 "  Records a scripted session of a sample window on a virtual display, exports it and prints the movie.\n"
                 "  --camera ID         also record this camera, shown as a bubble in the export (default: none)\n"
                 "  --root DIR          where the project directory is made (default: ~/Videos/VantileProjects)\n"},
        {"sample", "vantile-cli sample DIR [--duration S] [--width W] [--height H] [--audio MODE]\n"
                   "  Writes a synthetic project (raw movie, events, segments, cursor path) into DIR, which must be\n"
                   "  new or empty.\n"
                   "  --duration S        length in seconds\n"
                   "  --width W           raw movie width in pixels\n"
                   "  --height H          raw movie height in pixels\n"
                   "  --audio MODE        " + audioModes() + "\n"},
        {"export", "vantile-cli export DIR [-o FILE] [OPTIONS]\n"
                   "  Applies the settings as the preview panel would (saved in the project), exports and prints the movie.\n"
                   "  -o, --output FILE   the movie to write (default: DIR/export.mp4); FILE.gif writes an animated GIF\n"
                   "  --aspect A          " + choices(aspectRatioTexts, "16:9, 21:9, 9:16, 1:1, 4:3") + "\n"
                   "  --resolution R      " + choices(resolutionPresetTexts, "720p, 1080p, 1440p, 2160p, 4k") +
                       " (source: the recording's own size)\n"
                   "  --template T        " + choices(templateNameTexts) + "\n"
                   "  --zoom Z            " + choices(zoomIntensityTexts) + "\n"
                   "  --fps N             output frames per second, 1 to 240 (a new project has its recording's)\n"
                   "  --cursor-theme C    " + choices(cursorThemeTexts) + "\n"
                   "  --cursor-effect E   " + choices(cursorEffectTexts) + "\n"
                   "  --quality Q         " + choices(exportQualityTexts) +
                       " (x264 veryfast crf 23, medium crf 23 with ref 1 and subme 5 above 30 fps,\n"
                       "                      slow crf 18; default: standard)\n"
                   "  --window-chrome W   template (the template's own), " + choices(windowChromeTexts) + "\n"
                   "  --cursor-smoothing S " + choices(cursorSmoothingTexts) +
                       " (precise: the cursor lands where the pointer rests and clicks)\n"
                   "  --camera on|off     show or hide the camera bubble (a project recorded with a camera)\n"
                   "  --camera-position P bottomRight, bottomLeft, topRight, topLeft, or X,Y: the bubble's centre\n"
                   "                      as fractions of the frame\n"
                   "  --camera-size F     the bubble's side as a fraction of the output's short side, 0.12 to 0.5\n"
                   "  --camera-shape S    " + choices(cameraShapeTexts) + "\n"
                   "  --camera-mirror on|off  mirror the camera picture (default: on)\n"
                   "  --motion-blur A     smear a moving camera and cursor over a shutter open A of a frame,\n"
                   "                      0 (off, the default) to 1; 0.5 is a film camera's 180 degrees\n"
                   "  --background B      template (the template's own), #RRGGBB, generated-1 to generated-8\n"
                   "                      (Vantile's own wallpapers), or an image file (JPEG, PNG, WebP), copied\n"
                   "                      into the project and scaled to cover the frame\n"
                   "  --background-blur PX  blur an image background, 0 to 50 pixels at 1080p\n"
                   "  --padding F         space around the card, 0 to 0.2 of the output's short side\n"
                   "  --corner-radius PX  the card's corners, 0 to 64 pixels at 1080p (scaled with the output)\n"
                   "  --shadow S          the card's shadow, 0 (none) to 2; 1 is the template's\n"
                   "  --cursor-size F     the drawn cursor, 0.5 to 3 times its usual size\n"
                   "  --layout L          card (the recording on a card, the default) or fill (the recording fills\n"
                   "                      the frame; the crop takes the frame's shape and follows zooms and pointer)\n"
                   "  --no-background     the window card without the template background\n"
                   "  --no-cursor         no drawn cursor\n"
                   "  --no-ripple         no click ripples\n"
                   "  --no-dynamic-cursor the cursor keeps one size while the camera zooms\n"
                   "  --no-shortcuts      hide the badges of the keyboard shortcuts logged while recording\n"
                   "                      (--shortcuts shows them again)\n"
                   "  --normalize-loudness  bring each audio track to -16 LUFS (EBU R128, two passes);\n"
                   "                      --no-normalize-loudness turns it off\n"
                   "  --reduce-noise      lower each track's steady background noise; --no-reduce-noise turns it off\n"
                   "  --volume system|microphone DB  that track's volume change, -40 to 20 decibels (0: as recorded)\n"
                   "  --mute system|microphone       silence that track (--unmute brings it back)\n"
                   "  --duck microphone|system|none  make that track quieter while the other one sounds\n"
                   "                      (needs both tracks; default: none)\n"},
        {"edit", "vantile-cli edit DIR [--trim START END] [--cut START END]... [--zoom START END X Y SCALE]...\n"
                 "                     [--remove-zoom INDEX]... [--speed START END FACTOR]... [--remove-speed INDEX]...\n"
                 "                     [--skip-idle [SECONDS] [--as speed|cut]] [--clear-edits]\n"
                 "                     [--text START END TEXT [--text-style S] [--text-position X Y]]...\n"
                 "                     [--remove-text INDEX]... [--blur START END X Y W H [--blur-style pixelate|blur]]...\n"
                 "                     [--remove-blur INDEX]... [--crop X Y W H] [--clear-crop]\n"
                 "                     [--hide-shortcut N]... [--show-shortcut N]... [--json]\n"
                 "  Edits the timeline: options apply in the order given, the project is saved once, and the resulting\n"
                 "  timeline is printed. Times are recording seconds; a refused edit changes nothing.\n"
                 "  --trim START END    keep only this stretch of the recording\n"
                 "  --cut START END     remove this stretch (overlapping cuts merge)\n"
                 "  --zoom START END X Y SCALE\n"
                 "                      a zoom on raw-video pixel X,Y at SCALE 1.0 to 4.0; automatic segments make\n"
                 "                      way for it, the camera leaves it at END, and re-planning keeps it\n"
                 "  --remove-zoom INDEX remove segment INDEX (as `info --json` lists focusSegments); a removed\n"
                 "                      zoom leaves the overview in its place\n"
                 "  --speed START END FACTOR\n"
                 "                      play this stretch at FACTOR 0.25 to 16 (4: a quarter as long); sound keeps\n"
                 "                      its pitch up to 2x and is muted above; regions may not overlap, cuts win\n"
                 "  --remove-speed INDEX remove speed region INDEX (as `info --json` lists speedRegions)\n"
                 "  --skip-idle [SECONDS] [--as speed|cut]\n"
                 "                      find stretches of at least SECONDS (default 3) with no input and no change on\n"
                 "                      the screen, and play them at 8x (speed, the default) or cut them\n"
                 "  --clear-edits       no trim, no cuts, no speed regions, and the automatic plan again\n"
                 "  --text START END TEXT\n"
                 "                      a text callout over the output frame, faded in and out over 0.2 s\n"
                 "  --text-style S      the --text before it: " + choices(textCalloutStyleTexts) + " (default: label)\n"
                 "  --text-position X Y the --text before it centred at X,Y, fractions 0 to 1 of the output frame\n"
                 "                      (default: the style's place: title centred, lower third at the bottom\n"
                 "                      left, label near the top)\n"
                 "  --remove-text INDEX remove text callout INDEX (as `info --json` lists textCallouts)\n"
                 "  --blur START END X Y W H\n"
                 "                      make the rectangle X,Y W x H (raw-video pixels) unreadable from START to END;\n"
                 "                      it follows the camera's zoom; a rectangle partly outside the picture is clipped\n"
                 "  --blur-style pixelate|blur\n"
                 "                      right after --blur: coarse blocks (default) or a strong blur\n"
                 "  --remove-blur INDEX remove blur region INDEX (as the output lists them)\n"
                 "  --crop X Y W H      keep only this rectangle of the recording (raw-video pixels, edges taken\n"
                 "                      inward to even pixels, sides of at least 64): zooms, cursor and export see\n"
                 "                      only it, and the automatic zooms are planned again for it\n"
                 "  --clear-crop        show the whole recording again\n"
                 "  --hide-shortcut N   no badge for keyboard shortcut N (numbered from 0 in the order pressed,\n"
                 "                      as `info --json` lists them); --show-shortcut N shows it again\n"
                 "  --json              print {\"duration\", \"trim\", \"cuts\", \"speedRegions\", \"segments\"} (and\n"
                 "                      \"textCallouts\", \"blurRegions\" when any)\n"},
        {"plan", "vantile-cli plan --events FILE --duration S --width W --height H [--intensity I] [--fps N]\n"
                 "  Plans a JSON array of input events (video pixels) and prints segments, camera keyframes and cursor frames.\n"
                 "  --events FILE       the events, a JSON array\n"
                 "  --duration S        the recording's length in seconds, more than 0\n"
                 "  --width W           video width in pixels\n"
                 "  --height H          video height in pixels\n"
                 "  --intensity I       " + choices(zoomIntensityTexts) + " (default: standard)\n"
                 "  --fps N             cursor frames per second, 1 to 240 (default: 30)\n"},
    };
    return texts;
}

}  // namespace

std::string commandHelp(const std::string& command)
{
    const auto found = helpTexts().find(command);
    return found == helpTexts().end() ? std::string() : found->second;
}

}  // namespace vantile::cli
