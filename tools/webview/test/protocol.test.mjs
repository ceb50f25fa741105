import test from 'node:test';
import assert from 'node:assert/strict';
import os from 'node:os';

import { CommandReader, encodeRecord } from '../protocol.mjs';
import { keyEvent } from '../keys.mjs';

test('commands that arrive together are split again, pings dropped', () => {
    const reader = new CommandReader();
    const commands = reader.push(
        'ping open v1 file:///tmp/a.html 640 480 1.500000ping close v1input v2 {"type":"mouseMove","x":1.000000,"y":2.000000}ping ');
    assert.deepEqual(commands, [
        { verb: 'open', id: 'v1', url: 'file:///tmp/a.html', width: 640, height: 480, scale: 1.5 },
        { verb: 'close', id: 'v1' },
        { verb: 'input', id: 'v2', event: { type: 'mouseMove', x: 1, y: 2 } },
    ]);
    assert.equal(reader.carry, '');
});

test('a close at the end of a chunk and ids that look like verbs', () => {
    const reader = new CommandReader();
    assert.deepEqual(reader.push('close shoppingopen x about:blank 1 1 1.000000close xping'), [
        { verb: 'close', id: 'shopping' },
        { verb: 'open', id: 'x', url: 'about:blank', width: 1, height: 1, scale: 1 },
        { verb: 'close', id: 'xping' },
    ]);
});

test('a command cut into pieces waits for its end', () => {
    const reader = new CommandReader();
    assert.deepEqual(reader.push('ping open v http://127.0.0.1/long 100 2'), []);
    assert.deepEqual(reader.push('00 2.0000'), []);
    assert.deepEqual(reader.push('00input v {"type":"keyDown",'), [
        { verb: 'open', id: 'v', url: 'http://127.0.0.1/long', width: 100, height: 200, scale: 2 },
    ]);
    assert.deepEqual(reader.push('"keyCode":"A"}pi'), [{ verb: 'input', id: 'v', event: { type: 'keyDown', keyCode: 'A' } }]);
    assert.deepEqual(reader.push('ng close v'), [{ verb: 'close', id: 'v' }]);
});

test('typed characters, including the unescaped quote and the doubled backslash', () => {
    const reader = new CommandReader();
    const typed = ['x', '"', '\\\\', '}', '{'].map((c) => `input v {"type":"char","keyCode":"${c}"}`).join('');
    assert.deepEqual(reader.push(typed).map((c) => c.event.keyCode), ['x', '"', '\\', '}', '{']);
    assert.deepEqual(reader.push('input v {"type":"keyDown","keyCode":"\\\\"}')[0].event, { type: 'keyDown', keyCode: '\\' });
});

test('noise is skipped up to the next command', () => {
    const reader = new CommandReader();
    assert.deepEqual(reader.push('garbage close a'), [{ verb: 'close', id: 'a' }]);
    assert.deepEqual(reader.push('input a {"type":oops}close b'), [{ verb: 'close', id: 'b' }]);
});

test('records carry both sizes in host byte order', () => {
    const record = encodeRecord('view', Buffer.from([1, 2, 3]));
    const read = os.endianness() === 'LE' ? 'readUInt32LE' : 'readUInt32BE';
    assert.equal(record[read](0), 4);
    assert.equal(record[read](4), 3);
    assert.equal(record.subarray(8, 12).toString(), 'view');
    assert.deepEqual([...record.subarray(12)], [1, 2, 3]);
});

test('key names become DOM keys and virtual key codes', () => {
    assert.deepEqual(keyEvent('A', false), { key: 'a', code: 'KeyA', windowsVirtualKeyCode: 65, nativeVirtualKeyCode: 65 });
    assert.equal(keyEvent('A', true).key, 'A');
    assert.equal(keyEvent('7', false).code, 'Digit7');
    assert.equal(keyEvent('num3', false).windowsVirtualKeyCode, 99);
    assert.equal(keyEvent('Up', false).key, 'ArrowUp');
    assert.equal(keyEvent('\\', false).code, 'Backslash');
    assert.equal(keyEvent('F13', false), null);
});
