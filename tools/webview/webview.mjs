#!/usr/bin/env node
// The browser process behind the game's web view.
//
//   node webview.mjs --pipe <base path> [--chromium /usr/bin/chromium] [--verbose]
//
// Reads the game's commands from "<base path>.s2c" and writes frames to "<base path>.c2s" (the pipe pair
// of game/PipeServer.hpp; the game's working folder decides where "../Orkalin-data/" is, so the launcher
// passes the same base path it gave the game, or an absolute one). Protocol: protocol.mjs.
//
// Each view is a page of its own (its own browser context, so views share no cookies or storage) in one
// headless Chromium driven over the DevTools protocol by playwright-core. "open <id> <url> <w> <h> <s>"
// lays the page out at w / s by h / s CSS pixels with a device scale of s, so its frames are w by h
// pixels. Frames are sent when the page changes: Chromium's screencast reports every new compositor frame,
// and a frame whose picture differs from the last one is sent as PNG (when the screencast frame already
// has the asked size it is sent as it is; otherwise the page is captured at device scale). A PNG over the
// 1 MiB limit goes as JPEG of falling quality, and is dropped with a line on stderr if even that is too
// large. Input events are applied as DevTools input: mouse positions in CSS pixels, wheel offsets turned
// into Chromium's scroll direction (the game's positive y is "away from the user", which scrolls up),
// keyDown as a raw key press (text comes in "char" events), Enter with its carriage return.
//
// The process ends when the game closes its end of the command pipe, or when writing frames fails
// because the game is gone.

import fs from 'node:fs';
import net from 'node:net';
import { once } from 'node:events';
import { chromium } from 'playwright-core';

import { CommandReader, encodeRecord, MAX_IMAGE_SIZE } from './protocol.mjs';
import { keyEvent, MODIFIER_BITS } from './keys.mjs';

// Chromium's own background traffic meets a closed network here and fails, many connections at a time.
const CHROMIUM_FLAGS = [
    '--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
    '--disable-background-networking', '--disable-component-update', '--disable-sync',
];
const JPEG_QUALITIES = [85, 70, 50, 30];

function log(line) {
    process.stderr.write(`webview: ${line}\n`);
}

let verbose = false;
function trace(line) {
    if (verbose)
        log(line);
}

function parseArgs(argv) {
    const options = { pipe: null, chromium: '/usr/bin/chromium', verbose: false };
    for (let i = 0; i < argv.length; ++i) {
        if (argv[i] === '--pipe')
            options.pipe = argv[++i];
        else if (argv[i] === '--verbose')
            options.verbose = true;
        else if (argv[i] === '--chromium')
            options.chromium = argv[++i];
        else
            throw new Error(`unknown argument ${argv[i]}`);
    }
    if (!options.pipe)
        throw new Error('usage: webview.mjs --pipe <base path> [--chromium <path>] [--verbose]');
    return options;
}

// Opening a FIFO blocks until the other side comes; fs.open waits on a worker thread, not the event loop.
function openFifo(path, flags) {
    return new Promise((resolve, reject) => fs.open(path, flags, (error, fd) => (error ? reject(error) : resolve(fd))));
}

function pngSize(image) {
    if (image.length < 24 || image.readUInt32BE(0) !== 0x89504e47)
        return null;
    return [image.readUInt32BE(16), image.readUInt32BE(20)];
}

class Output {
    constructor(socket) {
        this.socket = socket;
        this.chain = Promise.resolve();
    }

    // Records go out whole and in order; a slow game holds the senders back instead of piling frames up.
    send(id, image) {
        this.chain = this.chain.then(async () => {
            if (!this.socket.write(encodeRecord(id, image)))
                await once(this.socket, 'drain');
        });
        return this.chain;
    }
}

const keyboard = { modifiers: 0 };

class View {
    constructor(id, browser, output, width, height, scale) {
        this.id = id;
        this.output = output;
        this.width = width;
        this.height = height;
        this.scale = scale > 0 && Number.isFinite(scale) ? scale : 1;
        this.closed = false;
        this.mouse = { x: 0, y: 0 };
        this.buttons = 0;
        this.lastCast = null;
        this.castImage = null;
        this.lastSent = null;
        this.capturing = false;
        this.dirty = false;
        this.browser = browser;
        this.chain = Promise.resolve();
    }

    // Runs `work` after everything queued for this view, so a view's commands keep their order while a
    // slow page doesn't hold up the others.
    queue(work) {
        this.chain = this.chain.then(() => (this.closed && work !== this.closeWork ? undefined : work())).catch((error) => {
            if (!this.closed)
                log(`view ${this.id}: ${error.message.split('\n')[0]}`);
        });
        return this.chain;
    }

    async open(url) {
        const browser = await this.browser;
        this.context = await browser.newContext({
            viewport: {
                width: Math.max(1, Math.round(this.width / this.scale)),
                height: Math.max(1, Math.round(this.height / this.scale)),
            },
            deviceScaleFactor: this.scale,
        });
        this.page = await this.context.newPage();
        try {
            await this.page.goto(url, { waitUntil: 'domcontentloaded' });
        } catch (error) {
            log(`view ${this.id}: ${url}: ${error.message.split('\n')[0]}`);
        }
        // The DevTools session is made once the page stands: one made on the blank page that a new tab
        // starts with can lose its frame when the real page moves into a process of its own. Even so,
        // the frame may still be changing hands, which Chromium answers with "Not attached": try again.
        this.cdp = await this.context.newCDPSession(this.page);
        this.cdp.on('Page.screencastFrame', (frame) => this.onFrame(frame));
        for (let attempt = 1; ; ++attempt) {
            try {
                await this.cdp.send('Page.startScreencast', { format: 'png', everyNthFrame: 1 });
                break;
            } catch (error) {
                if (attempt === 50 || this.closed)
                    throw error;
                await new Promise((resolve) => setTimeout(resolve, 100));
            }
        }
        this.capture();
    }

    onFrame(frame) {
        this.cdp.send('Page.screencastFrameAck', { sessionId: frame.sessionId }).catch(() => {});
        // A capture of our own makes the compositor report a frame too; only a new picture counts.
        trace(`view ${this.id}: screencast frame${frame.data === this.lastCast ? ' (same picture)' : ''}`);
        if (frame.data === this.lastCast)
            return;
        this.lastCast = frame.data;
        this.castImage = Buffer.from(frame.data, 'base64');
        this.capture();
    }

    // The compositor's screencast can stay quiet about a page that is not in front, most often on a busy
    // machine; after input the view therefore also takes pictures of its own, a little later.
    // Mouse moves alone don't do this: they come many times a second and rarely change the picture.
    settleAfterInput() {
        for (const timer of this.settleTimers ?? [])
            clearTimeout(timer);
        this.settleTimers = [60, 250, 800].map((delay) =>
            setTimeout(() => {
                if (!this.closed) {
                    this.forceShot = true;
                    this.capture();
                }
            }, delay));
    }

    async capture() {
        if (this.capturing) {
            this.dirty = true;
            return;
        }
        this.capturing = true;
        try {
            do {
                this.dirty = false;
                const image = await this.grab();
                if (image && !(this.lastSent && image.equals(this.lastSent)) && !this.closed) {
                    this.lastSent = image;
                    trace(`view ${this.id}: frame of ${image.length} bytes sent`);
                    await this.output.send(this.id, image);
                }
            } while (this.dirty && !this.closed);
        } catch (error) {
            if (!this.closed)
                log(`view ${this.id}: frame: ${error.message.split('\n')[0]}`);
        } finally {
            this.capturing = false;
        }
    }

    async grab() {
        const size = this.castImage && pngSize(this.castImage);
        const force = this.forceShot;
        this.forceShot = false;
        let image;
        if (!force && size && size[0] === this.width && size[1] === this.height)
            image = this.castImage;
        else
            image = await this.page.screenshot({ type: 'png', scale: 'device', caret: 'initial', animations: 'allow' });
        if (image.length <= MAX_IMAGE_SIZE)
            return image;
        for (const quality of JPEG_QUALITIES) {
            image = await this.page.screenshot({ type: 'jpeg', quality, scale: 'device', caret: 'initial' });
            if (image.length <= MAX_IMAGE_SIZE)
                return image;
        }
        log(`view ${this.id}: a frame stays over ${MAX_IMAGE_SIZE} bytes even as JPEG; dropped`);
        return null;
    }

    async input(event) {
        trace(`view ${this.id}: input ${JSON.stringify(event)}`);
        if (event.type !== 'mouseMove')
            this.settleAfterInput();
        const mouse = (type, button, x, y) =>
            this.cdp.send('Input.dispatchMouseEvent', {
                type, x, y, button, buttons: this.buttons, clickCount: event.clickCount ?? 0,
                modifiers: keyboard.modifiers,
            });
        switch (event.type) {
        case 'mouseMove':
            this.mouse = { x: event.x, y: event.y };
            return mouse('mouseMoved', this.buttons & 1 ? 'left' : this.buttons & 2 ? 'right' : 'none', event.x, event.y);
        case 'mouseDown':
        case 'mouseUp': {
            this.mouse = { x: event.x, y: event.y };
            const bit = event.button === 'right' ? 2 : 1;
            this.buttons = event.type === 'mouseDown' ? this.buttons | bit : this.buttons & ~bit;
            return mouse(event.type === 'mouseDown' ? 'mousePressed' : 'mouseReleased', event.button, event.x, event.y);
        }
        case 'mouseWheel':
            // The event carries no position: it scrolls what is under the view's last mouse position.
            return this.cdp.send('Input.dispatchMouseEvent', {
                type: 'mouseWheel', x: this.mouse.x, y: this.mouse.y, deltaX: -event.deltaX, deltaY: -event.deltaY,
                modifiers: keyboard.modifiers,
            });
        case 'keyDown':
        case 'keyUp': {
            const key = keyEvent(event.keyCode, (keyboard.modifiers & MODIFIER_BITS.Shift) !== 0);
            if (!key)
                return undefined;
            const bit = MODIFIER_BITS[event.keyCode];
            if (bit)
                keyboard.modifiers = event.type === 'keyDown' ? keyboard.modifiers | bit : keyboard.modifiers & ~bit;
            let type = event.type === 'keyDown' ? 'rawKeyDown' : 'keyUp';
            const extra = {};
            if (type === 'rawKeyDown' && key.key === 'Enter') {
                type = 'keyDown'; // Enter's action (new line, form submit) comes from its text
                extra.text = extra.unmodifiedText = '\r';
            }
            return this.cdp.send('Input.dispatchKeyEvent', { type, ...key, ...extra, modifiers: keyboard.modifiers });
        }
        case 'char':
            return this.cdp.send('Input.dispatchKeyEvent', {
                type: 'char', text: event.keyCode, unmodifiedText: event.keyCode, key: event.keyCode,
                modifiers: keyboard.modifiers,
            });
        default:
            return undefined;
        }
    }

    close() {
        this.closeWork = async () => {
            this.closed = true;
            if (this.context)
                await this.context.close();
        };
        return this.queue(this.closeWork);
    }
}

async function main() {
    const options = parseArgs(process.argv.slice(2));
    verbose = options.verbose;
    const views = new Map();
    let ending = false;
    let browser = null;

    const end = async (why) => {
        if (ending)
            return;
        ending = true;
        log(why);
        const closing = browser ? browser.then((b) => b.close()).catch(() => {}) : Promise.resolve();
        // A browser that won't close must not keep the game's thread waiting.
        await Promise.race([closing, new Promise((resolve) => setTimeout(resolve, 5000))]);
        process.exit(0);
    };

    // The pipes first: the game waits on them, and a browser that fails to start must still let it go on.
    const [inFd, outFd] = await Promise.all([
        openFifo(options.pipe + '.s2c', fs.constants.O_RDONLY),
        openFifo(options.pipe + '.c2s', fs.constants.O_WRONLY),
    ]);
    const input = new net.Socket({ fd: inFd, readable: true, writable: false });
    const outSocket = new net.Socket({ fd: outFd, readable: false, writable: true });
    outSocket.on('error', () => end('the game stopped reading'));
    const output = new Output(outSocket);

    browser = chromium.launch({ executablePath: options.chromium, headless: true, args: CHROMIUM_FLAGS });
    browser.then(() => process.stdout.write('webview: browser ready\n'), (error) => {
        log(`cannot start ${options.chromium}: ${error.message.split('\n')[0]}`);
    });

    const reader = new CommandReader();
    input.setEncoding('latin1'); // bytes as they are; ids and URLs are ASCII
    input.on('data', (chunk) => {
        for (const command of reader.push(chunk)) {
            if (command.verb === 'open') {
                const old = views.get(command.id);
                if (old)
                    old.close();
                const view = new View(command.id, browser, output, command.width, command.height, command.scale);
                views.set(command.id, view);
                view.queue(() => view.open(command.url));
            } else if (command.verb === 'close') {
                const view = views.get(command.id);
                if (view) {
                    views.delete(command.id);
                    view.close();
                }
            } else if (command.verb === 'input') {
                const view = views.get(command.id);
                if (view)
                    view.queue(() => view.input(command.event));
            }
        }
    });
    input.on('end', () => end('the game closed the command pipe'));
    input.on('error', () => end('the command pipe failed'));
}

main().catch((error) => {
    log(error.message);
    process.exit(1);
});
