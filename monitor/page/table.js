// --- The table ---

const columns = [
    { name: 'job', sort: 'id', fill: fillJob },
    { name: 'user', sort: 'user', fill: (cell, job) => showText(cell, job.user) },
    { name: 'type', fill: (cell, job) => setText(cell, typeName(job)) },
    { name: 'status', sort: 'status', fill: fillStatus },
    { name: 'unit', sort: 'unit', fill: (cell, job) => showText(cell, job.unitName ?? '') },
    { name: 'step', sort: 'step', fill: (cell, job) => showText(cell, job.stepName ?? '') },
    { name: 'since', sort: 'since', fill: fillSince },
    { name: 'progress', fill: fillProgress },
    { name: 'priority', short: 'priorityShort', sort: 'priority', fill: fillPriority },
    { name: 'description', fill: fillDescription },
    { name: 'commands', isUnseen: true, fill: fillCommands },
];

function fillJob(cell, job) {
    if (!cell.firstChild)
        cell.append(jobLink(job.id));
}

// An open job's state tells more than its status, but for one that is on its way to a pause, or to an end that nobody
// wants.
function statusOf(job) {
    const ends = { 3: 'completed', 4: 'failed', 5: 'cancelled', 6: 'stopped' };
    const state = texts[language].states[job.state] ?? job.state;
    if (job.state === 'ended')
        return [ends[job.status] ?? 'stopped', statusName(job)];
    if (job.status >= 4 && job.status <= 6)
        return [ends[job.status], `${statusName(job)}, ${state}`];
    if (job.status === 20 && job.state !== 'paused')
        return ['paused', statusName(job)];
    const isHeld = job.status >= 7 && job.state !== 'paused' && job.state !== 'waiting';
    return isHeld ? ['paused', `${statusName(job)}, ${state}`] : [job.state, state];
}

function fillStatus(cell, job) {
    showMark(cell, ...statusOf(job));
    set(cell.closest('tr') ?? cell, { 'data-mark': cell.dataset.kind });
}

function fillSince(cell, job) {
    cell.dataset.since = job.since ?? '';
    set(cell, { title: job.since });
    setText(cell, job.since ? duration((serverNow() - Date.parse(job.since)) / 1000) : '–');
}

function fillPriority(cell, job) {
    setText(cell, String(job.priority));
}

function fillProgress(cell, job) {
    if (!cell.firstChild)
        cell.append(make('span', { class: 'meter', 'aria-hidden': 'true' }, make('i')), make('span'));
    cell.firstChild.hidden = cell.lastChild.hidden = job.state === 'ended';
    cell.firstChild.firstChild.style.inlineSize = `${job.progress}%`;
    setText(cell.lastChild, `${job.progress} %`);
}

function fillDescription(cell, job) {
    if (!cell.firstChild)
        cell.append(make('span', { class: 'reason', lang: 'en' }), make('span', { class: 'text' }));
    const reason = job.error && (job.error.reason || (job.status === 5 ? '' : job.error.code));
    cell.firstChild.hidden = !reason;
    showText(cell.firstChild, reason || '');
    showText(cell.lastChild, job.description);
}

function fillCommands(cell, job) {
    const may = job.commands.includes('cancel');
    const askFirst = () => obey('cancel', jobOf(job.id));
    if (!may && cell.contains(document.activeElement))
        cell.closest('tr').querySelector('a').focus();
    if (!may)
        cell.replaceChildren();
    else if (!cell.firstChild)
        cell.append(make('button', { class: 'plain small', tabindex: -1, click: askFirst }, icon('failed')));
    if (may)
        set(cell.firstChild, { 'aria-label': say('cancelJob', job.id), title: say('cancelJob', job.id) });
}

const jobOf = id => view.list?.jobs.find(job => job.id === id);

function makeRow(shown, item) {
    return make('tr', { role: 'row', 'data-job': item.id },
        ...shown.map(column => make('td', { role: 'cell', class: `c-${column.name}` })));
}

function fillRow(shown, row, item) {
    shown.forEach((column, i) => {
        set(row.cells[i], { 'data-label': say(column.short ?? column.name) });
        column.fill(row.cells[i], item);
    });
}

// A small table inside a page, with the same rows.
function showTable(box, caption, shown, items, keyOf) {
    box.hidden = items.length === 0;
    if (!box.firstChild) {
        box.append(make('table', { class: 'rows', role: 'table' }, make('caption'),
            make('thead', { role: 'rowgroup' }, make('tr', { role: 'row' },
                ...shown.map(column => make('th', { role: 'columnheader', scope: 'col', class: `c-${column.name}` })))),
            make('tbody', { role: 'rowgroup' })));
    }
    const table = box.firstChild;
    setText(table.caption, caption);
    set(table.caption, { class: box.previousElementSibling?.textContent === caption ? 'unseen' : null });
    shown.forEach((column, i) => setText(table.tHead.rows[0].cells[i], column.head?.() ?? say(column.name)));
    arrange(table.tBodies[0], items, keyOf, item => makeRow(shown, item), (row, item) => fillRow(shown, row, item));
}

let touched = 0; // when somebody last was in the rows: they keep their order for a moment
let isAsked = true; // somebody has asked for this list: its size is news
let failed = new Set(); // jobs of which it has been told

function takeList(list) {
    view.list = list;
    clockSkew = Date.parse(list.now) - Date.now();
    if (view.name === 'jobs')
        showList();
    const more = list.jobs.filter(job => job.status === 4 && !failed.has(job.id)).map(job => job.id);
    if (isAsked && view.name === 'jobs')
        announce(say('found', list.total));
    else if (!isAsked && more.length && Date.now() - lastNews > 20000)
        announce(say('failedNews', more.length));
    else if (!isAsked)
        return;
    isAsked = false;
    failed = new Set([...failed, ...more]);
}

function showList() {
    const { jobs, units, counts, open, kept, total, offset } = view.list;
    arrange(byId('units'), units, unit => unit.id, makeUnit, fillUnit);
    fillOptions('unit', [['', say('any')], ...units.map(unit => [unit.id, unit.name])]);
    arrangeRows(jobs);
    const mega = (counts.bytes / 1048576).toLocaleString(language, { maximumFractionDigits: 0 });
    setText(byId('totals'), say('totals', open, kept, total) + (counts.bytes ? say('bytes', mega) : ''));
    byId('alarm').hidden = !(counts.lateThreads || counts.missingThreads);
    setText(byId('alarm'), say('alarm', counts.lateThreads, counts.missingThreads));
    byId('nothing').hidden = jobs.length > 0;
    setText(byId('nothing'), say('nothing'));
    setText(byId('range'), say('range', jobs.length ? offset + 1 : 0, offset + jobs.length, total));
    byId('previous').disabled = offset === 0;
    byId('next').disabled = offset + jobs.length >= total;
}

function arrangeRows(jobs) {
    const now = new Map(jobs.map(job => [job.id, job]));
    let order = jobs;
    if (Date.now() - touched < 4000) {
        const stay = [...(keyed.get(byId('rows')) ?? new Map()).keys()].filter(id => now.has(id));
        order = [...stay.map(id => now.get(id)), ...jobs.filter(job => !stay.includes(job.id))];
    }
    byId('kept').hidden = order.every((job, i) => job === jobs[i]);
    arrange(byId('rows'), order, job => job.id, job => makeRow(columns, job), (row, job) => fillRow(columns, row, job));
}

function makeUnit(unit) {
    const choose = () => askFor({ unit: view.query.get('unit') === String(unit.id) ? '' : unit.id });
    return make('li', {}, make('button', { class: 'name', click: choose }),
        make('span', { class: 'pips', 'aria-hidden': 'true' }), make('span', { class: 'busy' }),
        make('span', { class: 'queue' }), make('span', { class: 'oldest' }));
}

function fillUnit(node, unit) {
    const [name, pips, busy, queue, oldest] = node.children;
    showText(name, unit.name, 40);
    set(name, { 'aria-pressed': view.query.get('unit') === String(unit.id), title: say('onlyUnit', unit.name) });
    const most = Math.min(unit.threads, 24);
    while (pips.children.length < most)
        pips.append(make('i'));
    const lit = Math.ceil(unit.busy * most / unit.threads);
    [...pips.children].forEach((pip, i) => set(pip, { class: i < lit ? 'on' : null }));
    setText(busy, say('threadsShort', unit.busy, unit.threads));
    set(busy, { title: say('threads', unit.busy, unit.threads) });
    setText(queue, say('queued', unit.queued));
    set(queue, { class: unit.queued ? 'queue some' : 'queue' });
    oldest.hidden = unit.oldestJob === null;
    if (unit.oldestJob !== null) {
        if (!oldest.firstChild)
            oldest.append(make('a'), ', ', make('span'));
        set(oldest.firstChild, { href: `#/job/${unit.oldestJob}` });
        setText(oldest.firstChild, say('oldest', unit.oldestJob));
        fillSince(oldest.lastChild, { since: unit.oldestSince });
    }
}

function showHeadings() {
    const order = view.query.get('order') ?? 'asc';
    byId('headings').replaceChildren(...columns.map(column => {
        const isSorted = column.sort && view.query.get('sort') === column.sort;
        const head = make('th', { role: 'columnheader', scope: 'col', class: `c-${column.name}`,
            'aria-sort': isSorted ? (order === 'desc' ? 'descending' : 'ascending') : null });
        const name = make('span', { class: column.isUnseen ? 'unseen' : null }, say(column.short ?? column.name));
        const sort = () => sortBy(column.sort);
        head.append(!column.sort ? name
            : make('button', { class: 'sort', 'data-sort': column.sort, title: say(column.name), click: sort }, name));
        return head;
    }));
}

// One way, the other way, and back to what is urgent.
function sortBy(sort) {
    const isSorted = view.query.get('sort') === sort;
    const isDown = isSorted && view.query.get('order') === 'desc';
    askFor({ sort: isDown ? '' : sort, order: isSorted && !isDown ? 'desc' : '' });
    byId('headings').querySelector(`[data-sort="${sort}"]`).focus();
}

function fillOptions(name, options) {
    const select = byId('filters').elements[name];
    const asked = name === 'state' && view.query.get('ended') === '0' ? 'open' : view.query.get(name) ?? '';
    if (asked && !options.some(([value]) => String(value) === asked))
        options.push([asked, asked]);
    arrange(select, options, ([value]) => String(value), ([value]) => make('option', { value }),
        (option, [, text]) => setText(option, text));
    select.value = asked;
}

function showFilters() {
    const { states, statuses, types } = texts[language];
    const any = ['', say('any')];
    fillOptions('state', [any, ['open', say('open')], ...Object.entries(states)]);
    fillOptions('status', [any, ...Object.entries(statuses)]);
    fillOptions('type', [any, ...types.entries()]);
    fillOptions('unit', [any, ...(view.list?.units ?? []).map(unit => [unit.id, unit.name])]);
    const ages = { 10: '10 s', 60: '1 min', 600: '10 min', 3600: '1 h', 86400: '1 d' };
    fillOptions('older', [any, ...Object.entries(ages).map(([seconds, text]) => [seconds, say('atLeast', text)])]);
    for (const name of ['search', 'user']) {
        const input = byId('filters').elements[name];
        if (input !== document.activeElement)
            input.value = view.query.get(name) ?? '';
    }
    for (const field of byId('filters').elements)
        field.classList.toggle('set', Boolean(field.name && field.value));
    showHeadings();
}

function startFilters() {
    const form = byId('filters');
    let typing = 0;
    const filter = () => {
        const values = Object.fromEntries([...new FormData(form)].map(([name, value]) => [name, value.trim()]));
        const isOpen = values.state === 'open';
        askFor({ ...values, open: '', ended: isOpen ? '0' : '', state: isOpen ? '' : values.state });
    };
    form.addEventListener('input', () => {
        clearTimeout(typing);
        typing = setTimeout(filter, 300);
    });
    form.addEventListener('change', () => {
        clearTimeout(typing);
        filter();
    });
    form.addEventListener('submit', event => {
        event.preventDefault();
        filter();
    });
    form.addEventListener('reset', event => {
        event.preventDefault();
        clearTimeout(typing);
        form.elements.search.value = form.elements.user.value = '';
        askFor(Object.fromEntries(cQueryNames.map(name => [name, ''])));
    });
}
