// The program's own texts in the toolkit's language table, in every language it has.
#pragma once

// Appends the program's 25 default texts behind the toolkit's eight, so that they take
// ids 8 to 32, and registers their translations. Called once during start-up, before
// initLang.
void appendDefaultStrings();
