#pragma once

namespace corvantis {

// Readies the embedded browser of the drawing board before the application object exists: the scheme
// its page is served on ("corvantis-qd://board/board.html", from the program's resources) and the
// shared graphics contexts it needs. Run as root (as in containers), the browser's sandbox, which
// refuses root, is turned off.
void prepareBoardPages();

// Where the board's resources lie: "board.html", "tablet.html" and the "qd" folder of the engine.
constexpr const char* boardResources = ":/board";

} // namespace corvantis
