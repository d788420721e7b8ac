// --- The timeline ---

// A step has its colour everywhere. Turned by the golden angle, neighbours are far apart; those 8 apart, which come
// close to each other, differ in lightness. Dark text can be read on all of them.
const colourOf = step => `oklch(${step % 16 < 8 ? 0.82 : 0.73} 0.09 ${70 - step * 137.5}deg)`;
const cGutter = 22; // pixels left of the lanes, for their names

let timeline = null; // what is drawn

function startTimeline() {
    byId('as-table').addEventListener('click', event => {
        set(event.target, { 'aria-pressed': event.target.getAttribute('aria-pressed') !== 'true' });
        if (timeline)
            takeTimeline(timeline);
    });
    byId('chart').append(make('svg', { role: 'img' }, make('g'), make('g'), make('g')));
    byId('chart').addEventListener('click', event => {
        const span = event.target.closest('[data-job]');
        if (span)
            location.hash = `#/job/${span.dataset.job}`;
    });
    new ResizeObserver(() => timeline && view.name === 'timeline' && drawTimeline(timeline)).observe(byId('chart'));
}

function showSpans() {
    const names = { 10: '10 s', 60: '1 min', 600: '10 min' };
    arrange(byId('spans'), Object.keys(names).map(Number), s => s,
        s => make('button', { click: () => { location.hash = `#/timeline?seconds=${s}`; } }, names[s]),
        (button, s) => set(button, { 'aria-pressed': s === view.seconds }));
}

function takeTimeline(data, error) {
    if (error) {
        setText(byId('summary'), say('refused', error.message));
        return;
    }
    timeline = data;
    const spans = data.tracks.flatMap(({ unitName, worker, spans: own }) =>
        own.map(span => ({ ...span, place: `${unitName} ${worker}` })));
    const jobs = new Set(spans.map(span => span.job));
    setText(byId('summary'), say('summary', spans.length, jobs.size, clock(data.from), clock(data.to)));

    const steps = new Map(spans.map(span => [span.step, span.name]));
    arrange(byId('legend'), [...steps].sort((a, b) => a[0] - b[0]), ([step]) => step, ([step]) => {
        const item = make('li', {}, make('i'), make('bdi'));
        item.firstChild.style.background = colourOf(step);
        return item;
    }, (item, [, name]) => setText(item.lastChild, name));

    const isTable = byId('as-table').getAttribute('aria-pressed') === 'true';
    byId('chart').hidden = byId('legend').hidden = isTable;
    showSpanTable(data, isTable ? spans.sort((a, b) => b.start - a.start).slice(0, 200) : [], spans.length);
    if (!isTable)
        drawTimeline(data);
}

function showSpanTable(data, newest, total) {
    const timeOf = span => new Date(Date.parse(data.from) + span.start * 1000).toISOString();
    showTable(byId('span-table'), say('spanTable', newest.length, total), [
        { name: 'start', fill: (cell, span) => showTime(cell, timeOf(span)) },
        { name: 'duration', fill: (cell, span) => setText(cell, exactly(span.end - span.start)) },
        { name: 'job', fill: fillSpanJob },
        { name: 'step', fill: (cell, span) => showText(cell, span.name) },
        { name: 'unit', fill: (cell, span) => showText(cell, span.place) },
        { name: 'user', fill: (cell, span) => showText(cell, span.user) },
        { name: 'outcome', fill: (cell, span) => setText(cell, outcomeName(span.outcome)) },
    ], newest, span => `${span.job} ${span.step} ${timeOf(span)}`);
}

function fillSpanJob(cell, span) {
    if (!cell.firstChild)
        cell.append(jobLink(span.job));
}

// The lanes from top to bottom: for each unit its name, its workers, and its queue. That is as deep as jobs waited in
// it at a time, up to a limit.
function lanesOf({ tracks, queues }) {
    const lanes = [];
    let y = 26;
    for (const [unit, name] of new Map([...queues, ...tracks].map(lane => [lane.unit, lane.unitName]))) {
        const workers = tracks.filter(track => track.unit === unit);
        const busy = workers.flatMap(track => track.spans).reduce((sum, span) => sum + span.end - span.start, 0);
        const share = Math.round(100 * busy / view.seconds / Math.max(1, workers.length));
        lanes.push({ kind: 'head', unit, y, height: 0, text: `${name} · ${say('busy', share)}`, spans: [] });
        y += 22;
        for (const { worker, spans } of workers) {
            lanes.push({ kind: 'track', unit, name, y, height: 20, text: String(worker), spans });
            y += 22;
        }
        const ends = [0];
        const spans = queues.filter(queue => queue.unit === unit).flatMap(queue => queue.spans)
            .sort((a, b) => a.start - b.start).map(span => {
                const free = ends.findIndex(end => end <= span.start);
                const row = free >= 0 ? free : Math.min(ends.length, 7);
                ends[row] = Math.max(span.end, ends[row] ?? 0);
                return { ...span, row };
            });
        lanes.push({ kind: 'queue', unit, name, y, height: ends.length * 5 + 3, text: 'Q', spans });
        y += ends.length * 5 + 15;
    }
    return { lanes, height: y };
}

function drawTimeline(data) {
    const { lanes, height } = lanesOf(data);
    const width = Math.max(240, byId('chart').clientWidth - 16);
    const scale = (width - cGutter) / view.seconds;
    const from = Date.parse(data.from) / 1000;
    const svg = byId('chart').firstChild;
    const [grid, names, marks] = svg.children;
    set(svg, { width, height, 'aria-label': `${say('timeline')}: ${byId('summary').textContent}` });

    const every = [1, 2, 5, 10, 15, 30, 60, 120, 300].find(seconds => seconds * scale >= 84) ?? 600;
    const first = Math.ceil(from / every);
    const count = Math.floor((from + view.seconds) / every) - first + 1;
    const ticks = Array.from({ length: count }, (_, index) => (first + index) * every);
    arrange(grid, ticks, time => time,
        time => make('g', {}, make('line', { y1: 18 }), make('text', { y: 12 }, clock(time * 1000))), (node, time) => {
            const x = cGutter + (time - from) * scale;
            set(node.firstChild, { x1: x, x2: x, y2: height });
            set(node.lastChild, { x, 'text-anchor': x < 60 ? 'start' : x > width - 40 ? 'end' : 'middle' });
        });
    arrange(names, lanes, lane => `${lane.kind} ${lane.unit} ${lane.kind === 'track' ? lane.text : ''}`,
        lane => make('g', { class: lane.kind }, make('rect', { x: cGutter }), make('text')), (node, lane) => {
            set(node.firstChild, { y: lane.y, width: width - cGutter, height: lane.height });
            set(node.lastChild, { x: lane.kind === 'head' ? 0 : 2, y: lane.y + (lane.kind === 'queue' ? 7 : 15) });
            setText(node.lastChild, lane.text);
        });
    arrange(marks, lanes.flatMap(lane => marksOf(lane, scale, from)), mark => mark.key, makeMark, drawMark);
}

// The spans that are drawn: of those that would share a pixel the first one. A span is known by its end while it slides
// out on the left; one that goes on is known by where it is.
function marksOf(lane, scale, from) {
    const ends = [];
    const marks = [];
    for (const span of lane.spans) {
        const row = span.row ?? 0;
        const x = cGutter + span.start * scale;
        const width = (span.end - span.start) * scale;
        if (width < 1 && x - (ends[row] ?? 0) < 1)
            continue;
        ends[row] = x + width;
        const goesOn = span.outcome === 'running' || span.end >= view.seconds - 0.002;
        const end = goesOn ? `on ${lane.text}` : Math.round((from + span.end) * 1000);
        const key = `${lane.kind} ${lane.unit} ${span.job} ${span.step} ${end}`;
        marks.push({ lane, span, x, width: Math.max(1, width - 0.5), key });
    }
    return marks;
}

function makeMark({ lane, span }) {
    const mark = make('g', { class: lane.kind, 'data-job': span.job }, make('title'), make('rect', { rx: 1.5 }));
    if (lane.kind === 'track') {
        mark.lastChild.style.fill = colourOf(span.step);
        mark.append(make('text'));
    }
    return mark;
}

function drawMark(node, { lane, span, x, width }) {
    const [title, rect, text] = node.children;
    const isRun = lane.kind === 'track';
    const y = isRun ? lane.y : lane.y + 2 + span.row * 5;
    const what = isRun ? `${span.name}, ${outcomeName(span.outcome)}` : say('queue');
    set(node, { 'data-outcome': span.outcome });
    set(rect, { x, y, width, height: isRun ? lane.height : 4 });
    setText(title, [`${say('job')} ${span.job}, ${span.user.slice(0, 80)}`, `${lane.name}: ${what}`,
        exactly(span.end - span.start)].join('\n'));
    if (!isRun)
        return;
    const room = Math.floor((width - 8) / 6.6); // letters
    const texts = [`${span.job} ${span.name}`, String(span.job), ''];
    setText(text, texts.find(each => each.length <= Math.max(0, room)));
    set(text, { x: x + 4, y: y + 14 });
}
