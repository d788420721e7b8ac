// --- A job ---

const familyNames = ['job', 'type', 'status', 'step', 'since', 'description'];
const familyColumns = columns.filter(column => familyNames.includes(column.name));

// The parts of the page, empty; takeJob fills them.
function startJob() {
    const box = byId('job');
    if (box.dataset.job === String(view.job) && box.lang === language)
        return;
    box.dataset.job = view.job;
    box.lang = language;
    view.shown = null;
    const part = (name, ...nodes) => make('section', { 'data-part': name }, ...nodes);
    const titled = name => part(name, make('h2', {}, say(name)), make('div'));
    box.replaceChildren(
        make('p', { class: 'up' }, make('a', { href: jobsAddress() }, `← ${say('backToJobs')}`)),
        part('title', make('h1', {}, `${say('job')} ${view.job}`), make('span'), make('div', { class: 'buttons' })),
        part('text', make('div', { role: 'region', 'aria-label': say('description'), tabindex: 0 })),
        titled('error'),
        part('facts', make('h2', { class: 'unseen' }, say('facts')), make('dl')),
        titled('steps'), titled('family'), titled('visits'), titled('items'),
        part('dump', make('details', {}, make('summary', {}, say('dump')), make('pre', { tabindex: 0 }))));
    for (const node of box.querySelectorAll('section'))
        node.hidden = node.dataset.part !== 'title';
}

function partOf(name, isShown = true) {
    const part = byId('job').querySelector(`[data-part="${name}"]`);
    part.hidden = !isShown;
    return part;
}

// True when nothing of it can change any more.
function takeJob(data, error) {
    if (error) {
        const text = error.status === 404 ? say('noJob', view.job) : say('refused', error.message);
        setText(partOf('text').firstChild, text);
        return error.status === 404;
    }
    const { job, errors, parent, children, visits, items, dump } = data;
    view.shown = job;
    const [, mark, buttons] = partOf('title').children;
    showMark(mark, ...statusOf(job));
    const commands = ['cancel', 'pause', 'resume', 'time'].filter(name => job.commands.includes(name));
    arrange(buttons, commands, name => name,
        name => make('button', { class: name, click: () => obey(name, view.shown) }), (button, name) => setText(button, say(name)));
    showWhole(partOf('text').firstChild, job.description);
    showErrors(partOf('error', Boolean(job.error)).lastChild, job, errors);
    showFacts(partOf('facts').lastChild, job);
    showSteps(partOf('steps').lastChild, data);
    const family = [...(parent ? [parent] : []), ...children];
    showTable(partOf('family', family.length > 0).lastChild, parent ? `${say('parent')} ${parent.id}` : say('children'),
        familyColumns, family, item => item.id);
    showVisits(partOf('visits', visits.length > 0).lastChild, visits);
    showTable(partOf('items', items.length > 0).lastChild, say('items'), [
        { name: 'slot', fill: (cell, item) => setText(cell, String(item.slot)) },
        { name: 'type', fill: (cell, item) => setText(cell, String(item.type)) },
        { name: 'size', fill: (cell, item) => setText(cell, item.size ? item.size.toLocaleString(language) : '–') },
    ], items, item => item.slot);
    setText(partOf('dump', Boolean(dump)).querySelector('pre'), dump);
    return [job, ...children].every(({ state }) => state === 'ended');
}

function showWhole(node, text) {
    showText(node, text, 10000);
    set(node, { title: null });
}

function showErrors(box, job, errors) {
    const lines = errors.flatMap(({ language: lang, lines: texts }) => texts.map(text => ({ text, lang })));
    if (job.error) {
        if (!lines.some(({ text }) => text.includes(job.error.reason)))
            lines.push({ text: job.error.reason, lang: 'en' });
        lines.push({ text: job.error.code, class: 'code' });
    }
    arrange(box, [...lines.entries()], ([index]) => index, () => make('p'), (node, [, line]) => {
        showWhole(node, line.text);
        set(node, { lang: line.lang, class: line.class });
    });
}

function showFacts(list, job) {
    const seconds = value => (value === null ? '–' : exactly(value));
    const facts = {
        user: job.user, login: job.login, project: job.project, type: typeName(job), priority: String(job.priority),
        progress: `${job.progress} %`, unit: job.unitName ?? '–', step: job.stepName ?? '–', created: job.created,
        ended: job.ended, waited: seconds(job.waiting), ran: seconds(job.running),
    };
    arrange(list, Object.entries(facts), ([name]) => name,
        ([name]) => make('div', {}, make('dt', {}, say(name)), make('dd')),
        (node, [name, value]) => (['created', 'ended'].includes(name) ? showTime : showText)(node.lastChild, value));
}

// What the chart shows of each step: its run, and before that the queue in which the job waited for it. Times are
// milliseconds; what hasn't ended goes on until now, but of a step that was given up nobody knows when it ended.
function measureSteps({ job, finished, todo, visits }) {
    const now = job.ended ? Date.parse(job.ended) : serverNow();
    const at = time => (time ? Date.parse(time) : now);
    let waits = visits.map(({ unit, enter, start }) => ({ unit, from: at(enter), to: at(start), isOpen: !start }));
    const steps = [...finished, ...todo].map((step, index) => {
        const isFor = wait => (step.start ? wait.unit === step.unit && wait.to <= at(step.start) + 1
            : wait.isOpen && step.outcome === 'todo');
        const wait = waits.find(isFor);
        waits = waits.filter(other => other !== wait);
        const isKnown = step.finish || step.outcome === 'running';
        const run = step.start && { from: at(step.start), to: at(step.finish), isKnown };
        return { ...step, key: `${index} ${step.id}`, wait, run };
    });
    return { steps, from: Date.parse(job.created), to: now };
}

const secondsOf = span => (span ? Math.max(0, span.to - span.from) / 1000 : 0);

function showSteps(box, data) {
    const { steps, from, to } = measureSteps(data);
    const total = Math.max(0.001, secondsOf({ from, to }));
    const waited = steps.reduce((sum, { wait }) => sum + secondsOf(wait), 0);
    const ran = steps.reduce((sum, { run }) => sum + (run?.isKnown ? secondsOf(run) : 0), 0);
    const between = Math.max(0, total - waited - ran);
    const place = (bar, span) => {
        bar.hidden = !span;
        bar.style.insetInlineStart = `${100 * secondsOf({ from, to: span?.from }) / total}%`;
        bar.style.inlineSize = `${100 * secondsOf(span) / total}%`;
    };
    const drawBars = (cell, step) => {
        if (!cell.firstChild) {
            cell.append(make('div', { class: 'lane', 'aria-hidden': 'true' },
                make('i', { class: 'wait' }), make('i', { class: 'run' })));
        }
        const [wait, run] = cell.firstChild.children;
        place(wait, step.wait);
        place(run, step.run);
        run.style.background = colourOf(step.id);
        set(run, { 'data-outcome': step.outcome });
    };
    const marks = { done: 'completed', 'given up': 'stopped' };
    const showOutcome = (cell, { outcome }) => showMark(cell, marks[outcome] ?? outcome, outcomeName(outcome));
    const caption = [['waited', waited], ['ran', ran], ['between', between]]
        .map(([name, seconds]) => `${say(name)} ${exactly(seconds)}`).join(' · ');
    showTable(box, caption, [
        { name: 'step', fill: (cell, step) => showText(cell, step.name) },
        { name: 'unit', fill: (cell, step) => showText(cell, step.unitName ?? '') },
        { name: 'outcome', fill: showOutcome },
        { name: 'chart', head: () => say('chart', exactly(total)), fill: drawBars },
        { name: 'waited', fill: (cell, { wait }) => setText(cell, wait ? exactly(secondsOf(wait)) : '') },
        { name: 'ran', fill: (cell, { run }) => setText(cell, run?.isKnown ? exactly(secondsOf(run)) : '') },
        { name: 'thread', fill: (cell, step) => setText(cell, String(step.thread ?? '')) },
    ], steps, step => step.key);
}

function showVisits(box, visits) {
    const waited = ({ enter, start }) => (start ? exactly((Date.parse(start) - Date.parse(enter)) / 1000) : '–');
    showTable(box, say('visits'), [
        { name: 'unit', fill: (cell, visit) => showText(cell, visit.unitName) },
        { name: 'enter', fill: (cell, visit) => showTime(cell, visit.enter) },
        { name: 'began', fill: (cell, visit) => showTime(cell, visit.start) },
        { name: 'exit', fill: (cell, visit) => showTime(cell, visit.exit) },
        { name: 'waited', fill: (cell, visit) => setText(cell, waited(visit)) },
    ], visits.map((visit, key) => ({ ...visit, key })), visit => visit.key);
}
