// --- Commands and questions ---

const questions = {
    cancel: job => ({ title: say('cancelJob', job.id), text: say('cancelText', job.user.slice(0, 80)),
        confirm: say('cancelJob', job.id), dismiss: say('keep'), isDanger: true,
        fields: [{ name: 'reason', label: say('reason'), type: 'text', maxlength: 500 }] }),
    time: job => ({ title: say('timeJob', job.id), confirm: say('set'),
        fields: [
            { name: 'seconds', label: say('seconds'), type: 'number', min: 1, max: 86400, value: 60, required: true },
        ] }),
};

async function obey(name, job) {
    if (!job)
        return;
    const { done, answers } = texts[language];
    if (!job.commands.includes(name)) {
        tell(put(answers['not possible'], [job.id]));
        return;
    }
    const given = questions[name] ? await ask(questions[name](job)) : {};
    if (!given)
        return;
    const options = { method: 'POST' };
    if (given.reason || given.seconds) {
        options.body = JSON.stringify(given.reason ? given : { seconds: Number(given.seconds) });
        options.headers = { 'Content-Type': 'application/json' };
    }
    try {
        const answer = await send(`/jobs/${job.id}/${name}`, options);
        const { answer: word, error } = await answer.json().catch(() => ({}));
        const text = answer.ok ? done[name] : answers[answer.status === 404 ? 'gone' : word] ?? answers.failed;
        tell(put(text, [job.id, error ?? answer.statusText]));
    } catch (error) {
        tell(put(answers.failed, [job.id, error.message]));
    }
}

// A question in a dialog: the values of its fields, or null.
function ask({ title, text, fields = [], more = [], confirm, dismiss = say('close'), isDanger }) {
    const dialog = byId('dialog');
    if (dialog.open)
        dialog.close('');
    const buttons = make('div', { class: 'buttons' });
    if (confirm)
        buttons.append(make('button', { value: 'yes', class: isDanger ? 'cancel' : 'main' }, confirm));
    buttons.append(make('button', { type: 'button', click: () => dialog.close('') }, dismiss));
    const form = make('form', { method: 'dialog' }, make('h2', { id: 'dialog-title' }, title),
        ...(text ? [make('p', {}, text)] : []), ...more,
        ...fields.map(({ label, ...field }) => make('label', {}, make('span', {}, label), make('input', field))),
        buttons);
    dialog.returnValue = '';
    dialog.replaceChildren(form);
    dialog.showModal();
    return new Promise(resolve => {
        const close = () => resolve(dialog.returnValue === 'yes' ? Object.fromEntries(new FormData(form)) : null);
        dialog.addEventListener('close', close, { once: true });
    });
}

function showKeys() {
    const keepChoice = event => settings.set('keys', event.target.checked ? 'on' : 'off');
    const lines = texts[language].keyList.map(([key, what]) =>
        make('div', {}, make('dt', {}, make('kbd', {}, key)), make('dd', {}, what)));
    ask({ title: say('keysTitle'), more: [
        make('dl', { class: 'keys' }, ...lines),
        make('label', { class: 'check' }, make('input', { type: 'checkbox', checked: areKeysOn(), change: keepChoice }),
            make('span', {}, say('keysOn'))),
    ] });
}

// A browser follows a link without the token: with one, what the link leads to is fetched here, and saved.
async function follow(event, name) {
    if (!session.get('token'))
        return;
    event.preventDefault();
    try {
        const answer = await send(event.currentTarget.href);
        if (!answer.ok)
            throw new Error(answer.statusText);
        const address = URL.createObjectURL(await answer.blob());
        make('a', { href: address, download: name }).click();
        setTimeout(() => URL.revokeObjectURL(address), 60000);
    } catch (error) {
        tell(say('refused', error.message));
    }
}

// For those who don't see the page: politely, and rarely.
let lastNews = 0;
function announce(text) {
    lastNews = Date.now();
    setText(byId('news'), text);
}

let toastTimer = 0;
function tell(text) {
    announce(text);
    setText(byId('toast'), text);
    byId('toast').hidden = false;
    clearTimeout(toastTimer);
    toastTimer = setTimeout(() => { byId('toast').hidden = true; }, 6000);
}

// --- Keys ---

const areKeysOn = () => settings.get('keys') !== 'off';

function move(by) {
    const links = [...byId('rows').querySelectorAll('.c-job a')];
    const now = links.findIndex(link => link.closest('tr').contains(document.activeElement));
    const next = now < 0 ? (by > 0 ? 0 : links.length - 1) : Math.min(links.length - 1, Math.max(0, now + by));
    touched = Date.now();
    links[next]?.focus();
}

function goToSearch() {
    const focus = () => byId('search').focus();
    if (view.name === 'jobs') {
        focus();
    } else {
        window.addEventListener('hashchange', focus, { once: true });
        location.hash = jobsAddress();
    }
}

function leave() {
    if (view.name === 'jobs')
        document.activeElement.blur();
    else
        location.hash = jobsAddress();
}

function press(event) {
    const isTyping = /^(INPUT|SELECT|TEXTAREA)$/.test(event.target.tagName);
    if (event.ctrlKey || event.altKey || event.metaKey || byId('dialog').open || (isTyping && event.key !== 'Escape'))
        return;
    const inJobs = view.name === 'jobs';
    const row = inJobs && document.activeElement.closest('#rows tr');
    const job = row ? jobOf(Number(row.dataset.job)) : view.name === 'job' && view.shown;
    const single = {
        '/': goToSearch, '?': showKeys, j: inJobs && (() => move(1)), k: inJobs && (() => move(-1)),
        c: job && (() => obey('cancel', job)),
    };
    const other = { Escape: leave, ArrowDown: row && (() => move(1)), ArrowUp: row && (() => move(-1)) };
    const action = other[event.key] || (areKeysOn() && single[event.key]);
    if (action) {
        event.preventDefault();
        action();
    }
}

// --- The start ---

function useLanguage() {
    document.documentElement.lang = language;
    byId('language').value = language;
    for (const node of document.querySelectorAll('[data-text]'))
        setText(node, say(node.dataset.text));
    for (const node of document.querySelectorAll('[data-label]:not(td)'))
        set(node, { 'aria-label': say(node.dataset.label) });
    showLink();
    route();
}

function tick() {
    if (stream.lostSince)
        showLink();
    if (stream.isHeld || stream.lostSince)
        return;
    for (const node of document.querySelectorAll('[data-since]'))
        fillSince(node, { since: node.dataset.since || null });
    if (view.name === 'jobs' && view.list && !byId('kept').hidden)
        arrangeRows(view.list.jobs);
}

function start() {
    startFilters();
    byId('previous').addEventListener('click', () => askFor({ offset: Math.max(0, view.list.offset - 50) }));
    byId('next').addEventListener('click', () => askFor({ offset: view.list.offset + 50 }));
    byId('rows').addEventListener('pointermove', () => { touched = Date.now(); });
    byId('rows').addEventListener('click', event => {
        const row = event.target.closest('tr');
        if (row && !event.target.closest('a, button') && getSelection().isCollapsed)
            location.hash = `#/job/${row.dataset.job}`;
    });
    startTimeline();
    byId('hold').addEventListener('click', () => hold(!stream.isHeld));
    byId('again').addEventListener('click', listen);
    byId('metrics').addEventListener('click', event => follow(event, 'metrics.txt'));
    byId('trace').addEventListener('click', event => follow(event, 'trace.json'));
    byId('help').addEventListener('click', showKeys);
    byId('language').addEventListener('change', event => {
        language = event.target.value;
        settings.set('language', language);
        useLanguage();
    });
    document.addEventListener('keydown', press);
    document.addEventListener('visibilitychange', rest);
    window.addEventListener('hashchange', route);
    setInterval(tick, 1000);
    useLanguage();
}

start();
