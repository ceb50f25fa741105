// The web view's wire protocol, as the browser process sees it.
//
// The game writes text commands, one per write(2), with no terminator or length:
//   "ping "                                      nothing this turn
//   "open <id> <url> <width> <height> <scale>"   scale as C's "%f": digits, a point, six digits
//   "close <id>"
//   "input <id> <json>"
// A pipe keeps no write boundaries, so several commands can arrive in one chunk, and a command longer
// than the pipe's atomic size can arrive in pieces. CommandReader splits them again by their leading words:
// ids and URLs carry no spaces, an "open" ends with its scale, an "input" with the end of its JSON object.
// One JSON text isn't valid JSON: a typed double quote comes as {"type":"char","keyCode":"""}; it is
// recognised by its fixed shape.
//
// The browser answers with binary records, in the host's byte order:
//   nameSize (uint32), imageSize (uint32, at most 1 MiB), the view id, the image bytes.

import os from 'node:os';

export const MAX_IMAGE_SIZE = 0x100000;

const VERBS = ['ping ', 'open ', 'close ', 'input '];
const OPEN = /open (\S+) (\S+) (\d+) (\d+) (-?(?:\d+\.\d{6}|inf|nan))/y;
const CHAR_PREFIX = '{"type":"char","keyCode":"';
// Anything left over that grows past this is not a command in pieces but noise, and is dropped.
const MAX_CARRY = 1 << 20;

function nextVerb(text, from) {
    let best = -1;
    for (const verb of VERBS) {
        const at = text.indexOf(verb, from);
        if (at !== -1 && (best === -1 || at < best))
            best = at;
    }
    return best;
}

// The index just past the JSON object that starts at `from`, or -1 if it isn't complete yet.
function endOfObject(text, from) {
    let depth = 0;
    let inString = false;
    for (let i = from; i < text.length; ++i) {
        const c = text[i];
        if (inString) {
            if (c === '\\')
                ++i;
            else if (c === '"')
                inString = false;
        } else if (c === '"') {
            inString = true;
        } else if (c === '{') {
            ++depth;
        } else if (c === '}') {
            if (--depth === 0)
                return i + 1;
        }
    }
    return -1;
}

// Parses one "input" event text starting at `from`: [event, end], null when incomplete, or
// [undefined, end] when it is complete but not an event.
function parseEvent(text, from) {
    if (text.startsWith(CHAR_PREFIX, from)) {
        const close = text.indexOf('"}', from + CHAR_PREFIX.length + 1);
        if (close === -1)
            return null;
        let key = text.slice(from + CHAR_PREFIX.length, close);
        if (key === '\\\\')
            key = '\\';
        return [{ type: 'char', keyCode: key }, close + 2];
    }
    const end = endOfObject(text, from);
    if (end === -1)
        return null;
    try {
        return [JSON.parse(text.slice(from, end)), end];
    } catch {
        return [undefined, end];
    }
}

export class CommandReader {
    constructor() {
        this.carry = '';
    }

    // Takes one chunk off the pipe and returns the commands completed by it, as objects:
    // {verb: 'open', id, url, width, height, scale}, {verb: 'close', id}, {verb: 'input', id, event}.
    // "ping " is consumed and not returned.
    push(chunk) {
        const text = this.carry + chunk;
        this.carry = '';
        const commands = [];
        let pos = 0;
        while (pos < text.length) {
            if (text.startsWith('ping ', pos)) {
                pos += 5;
            } else if (text.startsWith('open ', pos)) {
                OPEN.lastIndex = pos;
                const match = OPEN.exec(text);
                if (match) {
                    commands.push({
                        verb: 'open', id: match[1], url: match[2], width: Number(match[3]),
                        height: Number(match[4]), scale: Number(match[5]),
                    });
                    pos = OPEN.lastIndex;
                } else {
                    break; // not complete yet: the game writes no other shape
                }
            } else if (text.startsWith('close ', pos)) {
                const start = pos + 6;
                let end = nextVerb(text, start);
                if (end === -1)
                    end = text.length;
                const space = text.indexOf(' ', start);
                const idEnd = space !== -1 && space < end ? space : end;
                if (idEnd > start)
                    commands.push({ verb: 'close', id: text.slice(start, idEnd) });
                pos = end;
            } else if (text.startsWith('input ', pos)) {
                const start = pos + 6;
                const space = text.indexOf(' ', start);
                if (space === -1)
                    break;
                const parsed = parseEvent(text, space + 1);
                if (parsed === null)
                    break;
                if (parsed[0] !== undefined)
                    commands.push({ verb: 'input', id: text.slice(start, space), event: parsed[0] });
                pos = parsed[1];
            } else {
                const next = nextVerb(text, pos + 1);
                if (next === -1) {
                    // Perhaps the start of a verb cut by the chunk's end; keep it for the next chunk.
                    pos = text.length;
                    for (let k = Math.min(5, text.length); k > 0; --k) {
                        const tail = text.slice(text.length - k);
                        if (VERBS.some((verb) => verb.startsWith(tail))) {
                            this.carry = tail;
                            break;
                        }
                    }
                    return commands;
                }
                pos = next;
            }
        }
        this.carry = text.slice(pos);
        if (this.carry.length > MAX_CARRY)
            this.carry = '';
        return commands;
    }
}

// One image record for the view `id`.
export function encodeRecord(id, image) {
    const name = Buffer.from(id, 'utf8');
    const header = Buffer.alloc(8);
    if (os.endianness() === 'LE') {
        header.writeUInt32LE(name.length, 0);
        header.writeUInt32LE(image.length, 4);
    } else {
        header.writeUInt32BE(name.length, 0);
        header.writeUInt32BE(image.length, 4);
    }
    return Buffer.concat([header, name, image]);
}
