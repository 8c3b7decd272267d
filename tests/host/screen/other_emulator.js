// other_emulator.js MODULES COLUMNS ROWS FILE...: what stands on the terminal of another emulator once it was written
// each file: its lines, then "cursor ROW COLUMN" and "scrolled off COUNT".
const fs = require('fs');
const [modules, columns, rows, ...files] = process.argv.slice(2);
const { Terminal } = require(modules + '/@xterm/headless');

// The emulator's own table of widths is older than the characters that are wide since 2016.
const wide = [[0x1100, 0x115f], [0x2e80, 0x303e], [0x3041, 0xa4cf], [0xac00, 0xd7a3], [0xf900, 0xfaff],
    [0xfe30, 0xfe6f], [0xff00, 0xff60], [0xffe0, 0xffe6], [0x20000, 0x3fffd]];
function wcwidth(code) {
    const character = String.fromCodePoint(code);
    if (/\p{M}|\p{Cf}/u.test(character)) return 0;
    const isWide = wide.some(([first, last]) => code >= first && code <= last);
    return isWide || /\p{Emoji_Presentation}/u.test(character) ? 2 : 1;
}
const widths = {
    version: 'newer',
    wcwidth,
    charProperties(code, preceding) { // bit 0: joins what precedes; bits 1 and 2: the width
        const before = (preceding >> 1) & 3;
        const width = wcwidth(code);
        return width === 0 && before > 0 ? (before << 1) | 1 : width << 1;
    },
};

async function show(file) {
    const terminal = new Terminal({ cols: +columns, rows: +rows, scrollback: 5000, allowProposedApi: true });
    terminal.unicode.register(widths);
    terminal.unicode.activeVersion = widths.version;
    await new Promise((done) => terminal.write(fs.readFileSync(file), done));
    const buffer = terminal.buffer.active;
    for (let row = 0; row < terminal.rows; ++row) {
        console.log(buffer.getLine(buffer.baseY + row).translateToString(true).replace(/ +$/, ''));
    }
    console.log(`cursor ${buffer.cursorY} ${Math.min(buffer.cursorX, terminal.cols - 1)}`);
    console.log(`scrolled off ${terminal.buffer.normal.baseY}`);
}

(async () => {
    for (const file of files) await show(file);
})();
