// The page that shows jobs: a table that lives, a timeline, and each job. docs/monitor.md has the server's addresses
// and what they answer. What comes from the server goes into text nodes and attributes only, never into markup. The
// page's scripts are served as one, in the order in which Page.cmake joins them; this is the first.
'use strict';

// --- Texts. {0} and the like are places for values. ---

const texts = {
    en: {
        skip: 'To the content', views: 'Views', jobs: 'Jobs', timeline: 'Timeline', language: 'Language', keys: 'Keys',
        metrics: 'Metrics', trace: 'Trace',
        job: 'Job', user: 'User', type: 'Type', status: 'Status', unit: 'Unit', step: 'Step', since: 'Since',
        progress: 'Progress', priority: 'Priority', priorityShort: 'Prio', description: 'Description',
        commands: 'Commands',
        search: 'Search', state: 'State', age: 'Age', reset: 'Reset', any: 'any', open: 'open', atLeast: '≥ {0}',
        units: 'Units', threads: '{0} of {1} threads busy', threadsShort: '{0}/{1} busy', queued: '{0} queued',
        oldest: 'oldest: job {0}', onlyUnit: 'Only jobs of {0}',
        totals: '{0} open, {1} ended; {2} match', bytes: ', {0} MB in use',
        alarm: 'Threads: {0} late, {1} missing', orderKept: 'Order kept while you are in the rows',
        tableName: 'Jobs; the headings sort', nothing: 'No job matches.', pages: 'Pages', previous: 'Previous',
        next: 'Next', range: '{0}–{1} of {2}',
        live: 'Live', connecting: 'Not live', held: 'Paused at {0}',
        lost: 'Connection lost since {0}, next try in {1} s',
        tryNow: 'Try now', hold: 'Pause updates', goOn: 'Resume updates', back: 'Connected again',
        failedNews: 'Failed: {0} more', found: '{0} jobs match', refused: 'The server refuses this: {0}',
        span: 'Time shown', asTable: 'As a table', busy: '{0} % busy', queue: 'Queue',
        summary: '{0} runs of {1} jobs between {2} and {3}', spanTable: 'Runs, the newest first; {0} of {1}',
        start: 'Start', duration: 'Duration', outcome: 'Outcome',
        backToJobs: 'All jobs', noJob: 'There is no job {0}, or it isn’t kept any more.', error: 'Error',
        facts: 'Facts',
        login: 'Login', project: 'Project', created: 'Created', ended: 'Ended', waited: 'Queued', ran: 'Ran',
        steps: 'Steps', chart: '0 – {0}', between: 'in between', thread: 'Thread', visits: 'Visits of units',
        enter: 'Entered', began: 'Started', exit: 'Left', family: 'Family', parent: 'Part of', children: 'Children',
        items: 'Data', slot: 'Slot', size: 'Bytes', dump: 'Dump',
        cancel: 'Cancel', pause: 'Pause', resume: 'Resume', time: 'More time', cancelJob: 'Cancel job {0}',
        cancelText: 'It ends with an error for {0}, and its children with it.', reason: 'Reason (optional)',
        keep: 'Keep it', timeJob: 'Time for job {0}', seconds: 'Seconds that it has left', set: 'Set', close: 'Close',
        done: { cancel: 'Job {0} is cancelled.', pause: 'Job {0} is paused.', resume: 'Job {0} goes on.',
            time: 'Job {0} has a new time limit.' },
        answers: { 'too late': 'Too late: job {0} has ended or is about to.',
            'not possible': 'Job {0} can’t do that in its state.', gone: 'Job {0} isn’t open any more.',
            failed: 'Job {0}: {1}' },
        token: 'Token', tokenTitle: 'The server asks for its token', tokenText: 'This tab keeps it until it is closed.',
        tokenWrong: 'The server doesn’t take that token.', tokenNeeded: 'A token is needed', signIn: 'Sign in',
        keysTitle: 'Keys', keysOn: 'Single keys are on',
        keyList: [['/', 'search'], ['j, k, ↓, ↑', 'next and previous row'], ['Enter', 'opens the row’s job'],
            ['c', 'cancels the job, after a question'], ['Esc', 'back to the jobs'], ['?', 'these keys']],
        states: { queued: 'queued', running: 'running', paused: 'paused', waiting: 'waits for children',
            delayed: 'delayed', ended: 'ended' },
        statuses: { 0: 'ready', 1: 'executing', 2: 'waiting', 3: 'completed', 4: 'failed', 5: 'cancelled', 6: 'stopped',
            7: 'held (7)', 8: 'held (8)', 9: 'replied', 10: 'held (10)', 11: 'held (11)', 12: 'held (12)',
            13: 'held (13)', 17: 'requeued', 18: 'waits for children', 19: 'held (19)', 20: 'pausing' },
        types: ['Meta data', 'Report', 'Document', 'Element', 'SQL', 'Batch report', 'Batch', 'Datamart report',
            'Plazabox', 'Import', 'Notification'],
        outcomes: { todo: 'to do', running: 'running', done: 'done', 'given up': 'given up', passed: 'skipped' },
    },
    de: {
        skip: 'Zum Inhalt', views: 'Ansichten', jobs: 'Aufträge', timeline: 'Zeitachse', language: 'Sprache',
        keys: 'Tasten', metrics: 'Metriken', trace: 'Trace',
        job: 'Auftrag', user: 'Benutzer', type: 'Art', status: 'Status', unit: 'Einheit', step: 'Schritt',
        since: 'Seit',
        progress: 'Fortschritt', priority: 'Priorität', priorityShort: 'Prio', description: 'Beschreibung',
        commands: 'Befehle',
        search: 'Suche', state: 'Zustand', age: 'Alter', reset: 'Zurücksetzen', any: 'alle', open: 'offen',
        atLeast: '≥ {0}',
        units: 'Einheiten', threads: '{0} von {1} Threads belegt', threadsShort: '{0}/{1} belegt',
        queued: '{0} in der Warteschlange', oldest: 'ältester: Auftrag {0}', onlyUnit: 'Nur Aufträge von {0}',
        totals: '{0} offen, {1} beendet; {2} gefunden', bytes: ', {0} MB belegt',
        alarm: 'Threads: {0} überfällig, {1} fehlen',
        orderKept: 'Die Reihenfolge bleibt, solange Sie in der Tabelle sind',
        tableName: 'Aufträge; sortierbar über die Spaltenköpfe', nothing: 'Keine Aufträge gefunden.', pages: 'Seiten',
        previous: 'Zurück', next: 'Weiter', range: '{0}–{1} von {2}',
        live: 'Live', connecting: 'Nicht live', held: 'Angehalten um {0}',
        lost: 'Keine Verbindung seit {0}, nächster Versuch in {1} s', tryNow: 'Jetzt versuchen',
        hold: 'Anzeige anhalten', goOn: 'Anzeige fortsetzen', back: 'Wieder verbunden',
        failedNews: 'Fehlgeschlagen: {0} weitere', found: '{0} Aufträge gefunden',
        refused: 'Der Server lehnt das ab: {0}',
        span: 'Zeitraum', asTable: 'Als Tabelle', busy: '{0} % ausgelastet', queue: 'Warteschlange',
        summary: '{0} Ausführungen von {1} Aufträgen zwischen {2} und {3}',
        spanTable: 'Ausführungen, die neuesten zuerst; {0} von {1}',
        start: 'Beginn', duration: 'Dauer', outcome: 'Ergebnis',
        backToJobs: 'Alle Aufträge', noJob: 'Auftrag {0} gibt es nicht oder nicht mehr.', error: 'Fehler',
        facts: 'Angaben', login: 'Anmeldung', project: 'Projekt', created: 'Angelegt', ended: 'Beendet',
        waited: 'Gewartet', ran: 'Gelaufen',
        steps: 'Schritte', chart: '0 – {0}', between: 'dazwischen', thread: 'Thread', visits: 'Durchlaufene Einheiten',
        enter: 'Eingang', began: 'Beginn', exit: 'Ausgang', family: 'Zusammengehörige Aufträge', parent: 'Teil von',
        children: 'Teilaufträge',
        items: 'Daten', slot: 'Platz', size: 'Bytes', dump: 'Dump',
        cancel: 'Abbrechen', pause: 'Anhalten', resume: 'Fortsetzen', time: 'Mehr Zeit',
        cancelJob: 'Auftrag {0} abbrechen',
        cancelText: 'Er endet für {0} mit einem Fehler; seine Teilaufträge werden mit abgebrochen.',
        reason: 'Grund (optional)',
        keep: 'Nicht abbrechen', timeJob: 'Zeit für Auftrag {0}', seconds: 'Restzeit in Sekunden', set: 'Übernehmen',
        close: 'Schließen',
        done: { cancel: 'Auftrag {0} wurde abgebrochen.', pause: 'Auftrag {0} wurde angehalten.',
            resume: 'Auftrag {0} läuft weiter.', time: 'Auftrag {0} hat ein neues Zeitlimit.' },
        answers: { 'too late': 'Zu spät: Auftrag {0} ist beendet oder gerade dabei.',
            'not possible': 'Im jetzigen Zustand von Auftrag {0} geht das nicht.',
            gone: 'Auftrag {0} ist nicht mehr offen.', failed: 'Auftrag {0}: {1}' },
        token: 'Token', tokenTitle: 'Der Server verlangt ein Token',
        tokenText: 'Es wird behalten, bis dieser Tab geschlossen wird.',
        tokenWrong: 'Der Server nimmt dieses Token nicht an.',
        tokenNeeded: 'Ein Token ist erforderlich', signIn: 'Anmelden',
        keysTitle: 'Tasten', keysOn: 'Einzelne Tasten sind eingeschaltet',
        keyList: [['/', 'Suche'], ['j, k, ↓, ↑', 'nächste und vorige Zeile'], ['Enter', 'öffnet den Auftrag der Zeile'],
            ['c', 'bricht den Auftrag ab, nach einer Rückfrage'], ['Esc', 'zurück zu den Aufträgen'],
            ['?', 'diese Hilfe']],
        states: { queued: 'eingereiht', running: 'läuft', paused: 'angehalten', waiting: 'wartet auf Teile',
            delayed: 'zurückgestellt', ended: 'beendet' },
        statuses: { 0: 'bereit', 1: 'in Ausführung', 2: 'wartet', 3: 'abgeschlossen', 4: 'fehlgeschlagen',
            5: 'abgebrochen', 6: 'gestoppt', 7: 'gehalten (7)', 8: 'gehalten (8)', 9: 'beantwortet', 10: 'gehalten (10)',
            11: 'gehalten (11)', 12: 'gehalten (12)', 13: 'gehalten (13)', 17: 'wieder eingereiht',
            18: 'wartet auf Teile', 19: 'gehalten (19)', 20: 'wird angehalten' },
        types: ['Metadaten', 'Bericht', 'Dokument', 'Element', 'SQL', 'Stapelbericht', 'Stapel', 'Datamart-Bericht',
            'Plazabox', 'Import', 'Benachrichtigung'],
        outcomes: { todo: 'ausstehend', running: 'läuft', done: 'erledigt', 'given up': 'aufgegeben',
            passed: 'übersprungen' },
    },
};

// What the browser may refuse to keep is kept as long as the page.
function memory(name) {
    const own = new Map();
    return {
        get(key) {
            try { return window[name].getItem(key) ?? own.get(key); } catch { return own.get(key); }
        },
        set(key, value) {
            own.set(key, value);
            try { window[name].setItem(key, value); } catch { /* it was denied */ }
        },
    };
}
const settings = memory('localStorage');
const session = memory('sessionStorage');

let language = settings.get('language') ?? (navigator.language.startsWith('de') ? 'de' : 'en');
if (!(language in texts))
    language = 'en';

const put = (text, values) => text.replace(/\{(\d)\}/g, (place, index) => values[index] ?? '');
const say = (name, ...values) => put(texts[language][name], values);
const typeName = job => texts[language].types[job.type] ?? job.typeName;
const outcomeName = outcome => texts[language].outcomes[outcome] ?? outcome;
const statusName = job => texts[language].statuses[job.status] ?? job.statusName;
