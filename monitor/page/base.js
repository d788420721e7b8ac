// --- Times. The server's clock counts, not the browser's. ---

let clockSkew = 0; // milliseconds that the server is ahead
const serverNow = () => Date.now() + clockSkew;
const two = number => String(number).padStart(2, '0');

function duration(seconds) {
    const s = Math.max(0, Math.floor(seconds));
    if (s < 60)
        return `${s} s`;
    if (s < 3600)
        return `${Math.floor(s / 60)} min ${two(s % 60)} s`;
    if (s < 86400)
        return `${Math.floor(s / 3600)} h ${two(Math.floor(s / 60) % 60)} min`;
    return `${Math.floor(s / 86400)} d ${Math.floor(s / 3600) % 24} h`;
}

// For what is measured: milliseconds matter.
function exactly(seconds) {
    if (seconds >= 60)
        return duration(seconds);
    const digits = { maximumFractionDigits: seconds < 10 ? 2 : 1 };
    return seconds < 1 ? `${Math.round(seconds * 1000)} ms` : `${seconds.toLocaleString(language, digits)} s`;
}

function clock(time) {
    const date = new Date(time);
    const today = date.toDateString() === new Date(serverNow()).toDateString();
    const day = today ? {} : { dateStyle: 'short' };
    return date.toLocaleString(language, { ...day, timeStyle: 'medium', hourCycle: 'h23' });
}

// --- Elements ---

const byId = id => document.getElementById(id);

function make(tag, attributes = {}, ...children) {
    const node = /^(svg|g|rect|line|path|text|title)$/.test(tag)
        ? document.createElementNS('http://www.w3.org/2000/svg', tag) : document.createElement(tag);
    for (const [name, value] of Object.entries(attributes)) {
        if (typeof value === 'function')
            node.addEventListener(name, value);
        else if (value !== null && value !== undefined && value !== false)
            node.setAttribute(name, value === true ? '' : value);
    }
    node.append(...children);
    return node;
}

// These touch the document only where something has changed.
function setText(node, text) {
    if (node.textContent !== text)
        node.textContent = text;
}

function set(node, attributes) {
    for (const [name, value] of Object.entries(attributes)) {
        if (value === null || value === undefined)
            node.removeAttribute(name);
        else if (node.getAttribute(name) !== String(value))
            node.setAttribute(name, value);
    }
}

// Makes the parent's children those of the items. An item that stays keeps its element, and the one with the focus
// isn't moved: the others are put around it. If it goes, the focus passes to its successor.
const keyed = new WeakMap();
function arrange(parent, items, keyOf, create, update) {
    const old = keyed.get(parent) ?? new Map();
    const present = new Map();
    for (const item of items) {
        const node = old.get(keyOf(item)) ?? create(item);
        update(node, item);
        present.set(keyOf(item), node);
    }
    keyed.set(parent, present);
    const nodes = [...present.values()];
    const focused = [...old.values()].findIndex(node => node.contains(document.activeElement));
    const hadFocus = focused < 0 ? null : [...old.values()][focused];
    for (const [key, node] of old) {
        if (present.get(key) !== node)
            node.remove();
    }
    if (nodes.length === 0) {
        if (hadFocus)
            byId('main').focus();
        return;
    }
    let fixed = nodes.indexOf(hadFocus);
    if (fixed < 0) {
        fixed = 0;
        if (parent.firstChild !== nodes[0])
            parent.prepend(nodes[0]);
    }
    for (let i = fixed - 1; i >= 0; --i) {
        if (nodes[i].nextSibling !== nodes[i + 1])
            nodes[i + 1].before(nodes[i]);
    }
    for (let i = fixed + 1; i < nodes.length; ++i) {
        if (nodes[i].previousSibling !== nodes[i - 1])
            nodes[i - 1].after(nodes[i]);
    }
    if (hadFocus && !nodes.includes(hadFocus))
        nodes[Math.min(focused, nodes.length - 1)].querySelector('a, button')?.focus();
}

const shapes = {
    running: 'M4 2v12l10-6z',
    queued: 'M1 6.5h3.5v3H1zM6.2 6.5h3.5v3H6.2zM11.5 6.5H15v3h-3.5z',
    paused: 'M3 2.5h3.5v11H3zM9.5 2.5H13v11H9.5z',
    waiting: 'M3 1.5h10v2L9.5 8l3.5 4.5v2H3v-2L6.5 8 3 3.5z',
    delayed: 'M8 1a7 7 0 1 0 0 14A7 7 0 0 0 8 1zM7 4h2v3.5h3v2H7z',
    completed: 'M1.5 8.5 3 7l3 3 7-7 1.5 1.5L6 13z',
    failed: 'M3 1.5l5 5 5-5L14.5 3l-5 5 5 5-1.5 1.5-5-5-5 5L1.5 13l5-5-5-5z',
    cancelled: 'M8 1a7 7 0 1 0 0 14A7 7 0 0 0 8 1zM8 3a5 5 0 0 1 4 8L5 4a5 5 0 0 1 3-1zM4 5l7 7a5 5 0 0 1-7-7z',
    stopped: 'M3 3h10v10H3z',
    todo: 'M8 2a6 6 0 1 0 0 12A6 6 0 0 0 8 2zM8 4a4 4 0 1 1 0 8 4 4 0 0 1 0-8z',
    passed: 'M2 7h12v2H2z',
};

function icon(name) {
    return make('svg', { class: 'icon', viewBox: '0 0 16 16', 'aria-hidden': 'true' },
        make('path', { d: shapes[name], 'fill-rule': 'evenodd' }));
}

function showMark(cell, kind, text) {
    if (cell.dataset.kind !== kind) {
        cell.dataset.kind = kind;
        cell.replaceChildren(make('span', { class: `mark ${kind}` }, icon(kind), make('span')));
    }
    setText(cell.firstChild.lastChild, text);
    set(cell, { title: text });
}

// A text of anybody's: its direction stays its own, and a long one is cut, with the whole of it as a title.
function showText(cell, text, most = 160) {
    const letters = text.length > most ? [...text.slice(0, most * 2)] : [];
    if (!cell.firstChild)
        cell.append(make('bdi'));
    setText(cell.firstChild, letters.length > most ? letters.slice(0, most).join('') + '…' : text);
    set(cell, { title: text });
}

function showTime(cell, time) {
    setText(cell, time ? clock(time) : '–');
    set(cell, { title: time });
}

const jobLink = (id, text = id) => make('a', { href: `#/job/${id}` }, String(text));

// --- Talking to the server ---

class Refusal extends Error {
    constructor(status, text) {
        super(text);
        this.status = status;
    }
}

let askedToken = null; // one question for all that wait
async function send(path, options = {}) {
    for (;;) {
        const token = session.get('token');
        const headers = token ? { ...options.headers, Authorization: `Bearer ${token}` } : { ...options.headers };
        const signal = options.signal ?? AbortSignal.timeout(15000);
        const answer = await fetch(path, { cache: 'no-store', ...options, headers, signal });
        if (answer.status !== 401)
            return answer;
        if (token === session.get('token')) {
            askedToken ??= askToken(Boolean(token)).finally(() => { askedToken = null; });
            await askedToken;
        }
    }
}

async function askToken(isWrong) {
    const given = await ask({ title: say('tokenTitle'), text: say(isWrong ? 'tokenWrong' : 'tokenText'),
        confirm: say('signIn'),
        fields: [{ name: 'token', label: say('token'), type: 'password', required: true, autocomplete: 'off' }] });
    if (!given)
        throw new Refusal(401, say('tokenNeeded'));
    session.set('token', given.token.trim());
}

async function read(path) {
    const answer = await send(path);
    const body = await answer.json().catch(() => ({}));
    if (!answer.ok)
        throw new Refusal(answer.status, body.error ?? answer.statusText);
    return body;
}
