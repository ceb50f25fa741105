// The game's key names (see game/ElectronWebview.cpp) as DevTools key events: the DOM `key` and `code`
// and the Windows virtual key code that Chromium's editing commands go by.

const NAMED = {
    'Space': [' ', 'Space', 32],
    "'": ["'", 'Quote', 222],
    ',': [',', 'Comma', 188],
    '-': ['-', 'Minus', 189],
    '.': ['.', 'Period', 190],
    '/': ['/', 'Slash', 191],
    ';': [';', 'Semicolon', 186],
    '=': ['=', 'Equal', 187],
    '[': ['[', 'BracketLeft', 219],
    '\\': ['\\', 'Backslash', 220],
    ']': [']', 'BracketRight', 221],
    '`': ['`', 'Backquote', 192],
    'Enter': ['Enter', 'Enter', 13],
    'Tab': ['Tab', 'Tab', 9],
    'Backspace': ['Backspace', 'Backspace', 8],
    'Insert': ['Insert', 'Insert', 45],
    'Delete': ['Delete', 'Delete', 46],
    'Right': ['ArrowRight', 'ArrowRight', 39],
    'Left': ['ArrowLeft', 'ArrowLeft', 37],
    'Down': ['ArrowDown', 'ArrowDown', 40],
    'Up': ['ArrowUp', 'ArrowUp', 38],
    'PageUp': ['PageUp', 'PageUp', 33],
    'PageDown': ['PageDown', 'PageDown', 34],
    'Home': ['Home', 'Home', 36],
    'End': ['End', 'End', 35],
    'Capslock': ['CapsLock', 'CapsLock', 20],
    'Scrolllock': ['ScrollLock', 'ScrollLock', 145],
    'Numlock': ['NumLock', 'NumLock', 144],
    'PrintScreen': ['PrintScreen', 'PrintScreen', 44],
    'Pause': ['Pause', 'Pause', 19],
    'numdec': ['.', 'NumpadDecimal', 110],
    'numdiv': ['/', 'NumpadDivide', 111],
    'nummult': ['*', 'NumpadMultiply', 106],
    'numsub': ['-', 'NumpadSubtract', 109],
    'numadd': ['+', 'NumpadAdd', 107],
    'Shift': ['Shift', 'ShiftLeft', 16],
    'Ctrl': ['Control', 'ControlLeft', 17],
    'Alt': ['Alt', 'AltLeft', 18],
    'Super': ['Meta', 'MetaLeft', 91],
    'Menu': ['ContextMenu', 'ContextMenu', 93],
};

// DevTools modifier bits.
export const MODIFIER_BITS = { Alt: 1, Ctrl: 2, Super: 4, Shift: 8 };

// {key, code, windowsVirtualKeyCode} for a game key name, or null for a name we don't know.
export function keyEvent(name, shift) {
    let entry = NAMED[name];
    if (!entry && /^[A-Z]$/.test(name))
        entry = [shift ? name : name.toLowerCase(), 'Key' + name, name.charCodeAt(0)];
    else if (!entry && /^[0-9]$/.test(name))
        entry = [name, 'Digit' + name, name.charCodeAt(0)];
    else if (!entry && /^num[0-9]$/.test(name))
        entry = [name[3], 'Numpad' + name[3], 96 + Number(name[3])];
    if (!entry)
        return null;
    const [key, code, windowsVirtualKeyCode] = entry;
    return { key, code, windowsVirtualKeyCode, nativeVirtualKeyCode: windowsVirtualKeyCode };
}
