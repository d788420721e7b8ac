// --- The stream of lists ---

const stream = {
    abort: null, isLive: false, isHeld: false, heldSince: 0, lostSince: 0, tries: 0, nextTry: 0, timer: 0, resting: 0,
};

async function listen() {
    stream.abort?.abort();
    clearTimeout(stream.timer);
    showLink();
    if (stream.isHeld)
        return;
    const abort = stream.abort = new AbortController();
    let silence = 0;
    // The server says something every 15 seconds.
    const heard = () => {
        clearTimeout(silence);
        silence = setTimeout(() => abort.abort(), 40000);
    };
    try {
        heard();
        const answer = await send(`/events?${view.query}`, { signal: abort.signal });
        if (!answer.ok)
            throw new Refusal(answer.status, (await answer.json().catch(() => ({}))).error ?? answer.statusText);
        const reader = answer.body.pipeThrough(new TextDecoderStream()).getReader();
        for (let text = '', part; !(part = await reader.read()).done;) {
            heard();
            const events = (text + part.value).split(/\r?\n\r?\n/);
            text = events.pop();
            events.filter(event => abort === stream.abort && event.includes('data:')).slice(-1).forEach(takeEvent);
        }
    } catch (error) {
        if (abort === stream.abort && error instanceof Refusal && refuse(error))
            return;
    } finally {
        clearTimeout(silence);
    }
    if (abort === stream.abort)
        lose();
}

function takeEvent(event) {
    const data = event.split(/\r?\n/).filter(line => line.startsWith('data:')).map(line => line.slice(5));
    if (stream.lostSince)
        announce(say('back'));
    stream.lostSince = stream.tries = 0;
    stream.isLive = true;
    showLink();
    takeList(JSON.parse(data.join('\n')));
}

// True if another try with the same request is of no use.
function refuse(error) {
    if (error.status === 401) {
        hold(true);
    } else if (error.status === 400) {
        stream.isLive = false;
        showLink();
        arrangeRows([]);
        setText(byId('nothing'), say('refused', error.message));
        byId('nothing').hidden = false;
        announce(say('refused', error.message));
    }
    return error.status === 401 || error.status === 400;
}

function lose() {
    if (!stream.lostSince) {
        stream.lostSince = Date.now();
        announce(say('lost', clock(serverNow()), 1));
    }
    const wait = Math.min(15, 2 ** stream.tries++);
    stream.isLive = false;
    stream.nextTry = Date.now() + wait * 1000;
    stream.timer = setTimeout(listen, wait * 1000);
    showLink();
}

function hold(isHeld) {
    stream.isHeld = isHeld;
    stream.heldSince = serverNow();
    stream.lostSince = stream.tries = 0;
    listen();
    if (!isHeld)
        route();
}

// A page that nobody sees for a minute leaves its connection to others: a browser has six for a server.
function rest() {
    clearTimeout(stream.resting);
    if (document.hidden) {
        stream.resting = setTimeout(() => {
            stream.abort?.abort();
            stream.abort = null;
        }, 60000);
    } else if (!stream.abort || stream.lostSince) {
        listen();
    }
}

function showLink() {
    const wait = Math.max(0, Math.ceil((stream.nextTry - Date.now()) / 1000));
    const name = stream.isHeld ? 'held' : stream.lostSince ? 'lost' : stream.isLive ? 'live' : 'connecting';
    const values = { held: [clock(stream.heldSince)], lost: [clock(stream.lostSince + clockSkew), wait] };
    document.body.dataset.link = name;
    setText(byId('link-text'), say(name, ...(values[name] ?? [])));
    setText(byId('hold'), say(stream.isHeld ? 'goOn' : 'hold'));
    byId('again').hidden = name !== 'lost';
}

// For what has no stream: reads a path again and again, until nothing changes any more or another call takes its place.
let reading = 0;
async function keepReading(path, show, pause) {
    const mine = ++reading;
    for (let isFirst = true; mine === reading; isFirst = false) {
        if (isFirst || (!document.hidden && !stream.isHeld)) {
            try {
                const data = await read(path);
                if (mine !== reading || show(data))
                    return;
            } catch (error) {
                if (mine === reading && error.status === 401)
                    hold(true);
                if (mine === reading && error instanceof Refusal && show(null, error))
                    return;
            }
        }
        await new Promise(resolve => { setTimeout(resolve, pause); });
    }
}

// --- What is shown, as the address says: #/jobs?..., #/timeline?seconds=60, #/job/7 ---

const view = { name: '', job: 0, shown: null, seconds: 60, query: new URLSearchParams(), list: null };
const cQueryNames = ['user', 'status', 'unit', 'type', 'state', 'older', 'search', 'open', 'ended',
    'sort', 'order', 'offset'];
const jobsAddress = () => `#/jobs${view.query.size ? '?' : ''}${view.query}`;

function route() {
    const [path, search] = location.hash.replace(/^#\/?/, '').split('?');
    const asked = new URLSearchParams(search);
    const [name, id] = path.split('/');
    const before = view.name;
    view.name = name === 'job' && /^\d+$/.test(id) ? 'job' : name === 'timeline' ? 'timeline' : 'jobs';
    for (const section of ['jobs', 'timeline', 'job'])
        byId(section).hidden = section !== view.name;
    for (const link of document.querySelectorAll('[data-view]'))
        set(link, { 'aria-current': link.dataset.view === view.name ? 'page' : null });

    if (view.name === 'jobs') {
        const query = new URLSearchParams([...asked].filter(([key, value]) => cQueryNames.includes(key) && value));
        const isOther = String(query) !== String(view.query) || !stream.abort;
        view.query = query;
        ++reading;
        showFilters();
        document.title = say('jobs');
        if (view.list)
            showList();
        if (isOther) {
            isAsked = true;
            listen();
        }
    } else if (view.name === 'timeline') {
        view.seconds = [10, 60, 600].find(span => span === Number(asked.get('seconds'))) ?? 60;
        document.title = say('timeline');
        set(byId('trace'), { href: `/trace?seconds=${view.seconds}` });
        showSpans();
        keepReading(`/timeline?seconds=${view.seconds}`, takeTimeline, view.seconds > 60 ? 2000 : 1000);
    } else {
        view.job = Number(id);
        document.title = `${say('job')} ${id}`;
        startJob();
        keepReading(`/jobs/${id}?lang=${language}`, takeJob, 1000);
    }
    if (view.name !== 'jobs' && !stream.abort)
        listen();
    if (before && before !== view.name) {
        const row = view.name === 'jobs' && byId('rows').querySelector(`[data-job="${view.job}"] a`);
        scrollTo(0, 0);
        (row || byId('main')).focus({ preventScroll: !row });
    }
}

function askFor(changes) {
    const query = new URLSearchParams(view.query);
    for (const [name, value] of Object.entries({ offset: '', ...changes })) {
        if (value)
            query.set(name, value);
        else
            query.delete(name);
    }
    touched = 0;
    history.replaceState(null, '', `#/jobs?${query}`);
    route();
}
