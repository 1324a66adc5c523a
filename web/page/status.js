// The status page: what is on the air, live from the console's event stream.
//
// Every event carries the whole snapshot, so the page only ever shows the latest one. Between
// events the progress bar runs on this machine's clock. Everything taken from a snapshot goes
// into the page through textContent: titles come from tags, and a tag is never markup.

const kHistoryShown = 10;
const kChangeEvents = ['start', 'next', 'listeners', 'on_air', 'mode'];
const kReconnectMs = 5000;
const kTickMs = 250;
const kEndingSeconds = 10;

const byId = (id) => document.getElementById(id);

function text(value) {
  return typeof value === 'string' ? value : value == null ? '' : String(value);
}

function number(value) {
  const n = Number(value);
  return Number.isFinite(n) ? n : 0;
}

function setText(id, value) {
  const node = byId(id);
  if (node.textContent !== value) {
    node.textContent = value;
  }
}

// 245 -> "4:05"; from an hour on, "1:02:05".
function clock(seconds) {
  const s = Math.max(0, Math.floor(seconds));
  const h = Math.floor(s / 3600);
  const m = Math.floor(s / 60) % 60;
  const ss = String(s % 60).padStart(2, '0');
  return h > 0 ? `${h}:${String(m).padStart(2, '0')}:${ss}` : `${m}:${ss}`;
}

// The station's time of day in an ISO 8601 time: "2024-05-17T14:03:27+02:00" -> "14:03:27".
// The team reads the station's clock, wherever the browser happens to be.
function timeOfDay(iso) {
  const m = /T(\d{2}:\d{2}:\d{2})/.exec(text(iso));
  return m ? m[1] : '';
}

function figure(value) {
  return Math.max(0, Math.round(number(value))).toLocaleString();
}

function element(tag, className, content) {
  const node = document.createElement(tag);
  node.className = className;
  if (content !== undefined) {
    node.textContent = content;
  }
  return node;
}

// What the page knows: the latest snapshot, and where the track on the air was (`elapsed`
// seconds in) at `at`, a performance.now() reading.
const state = {
  snapshot: null,
  elapsed: 0,
  at: 0,
};

// A snapshot that came with a change was made just now, so its elapsed time is right as it
// stands. The one a stream opens with was made at the last change, perhaps minutes ago: then
// the time since the start, by this machine's clock, is the better guess, though never less
// than what the snapshot says.
function place(now, fresh) {
  let elapsed = number(now.elapsed);
  if (!fresh && now.started) {
    const since = (Date.now() - Date.parse(now.started)) / 1000;
    if (Number.isFinite(since)) {
      elapsed = Math.max(elapsed, since);
    }
  }
  state.elapsed = elapsed;
  state.at = performance.now();
}

function kindOf(now) {
  if (!now.started && !text(now.title)) {
    return 'idle';
  }
  return now.duration == null ? 'stream' : 'track';
}

function renderHeader(s) {
  const station = text(s.station);
  setText('station', station || 'On air');
  setText('list', text(s.list));
  const onAir = s.on_air === true;
  const lamp = byId('on-air');
  lamp.dataset.on = onAir ? 'yes' : 'no';
  setText('on-air', onAir ? 'On air' : 'Off air');
  const mode = text(s.mode);
  byId('mode').dataset.mode = mode.toLowerCase();
  setText('mode', mode || '—');
}

function renderNow(now, station) {
  const kind = kindOf(now);
  byId('now').dataset.kind = kind;
  const title = text(now.title);
  const artist = text(now.artist);
  if (kind === 'idle') {
    setText('now-title', 'Nothing on the air');
  } else {
    setText('now-title', title || 'Untitled');
  }
  setText('now-artist', artist);
  setText('now-album', text(now.album));
  const started = timeOfDay(now.started);
  setText('now-started', started ? `Started ${started}` : '');
  const playing = kind === 'idle' ? '' : [title, artist].filter(Boolean).join(' – ');
  document.title = [playing, station || 'On air'].filter(Boolean).join(' · ');
}

function renderNext(next) {
  const title = text(next.title);
  setText('next-title', title || '—');
  setText('next-artist', title ? text(next.artist) : '');
}

function renderListeners(listeners) {
  setText('listeners', figure(listeners.current));
  setText('peak', figure(listeners.peak));
  const encoders = Array.isArray(listeners.encoders) ? listeners.encoders : [];
  byId('encoders').replaceChildren(
    ...encoders.map((e) => {
      const connected = e.connected === true;
      const row = element('li', 'encoder');
      row.dataset.connected = connected ? 'yes' : 'no';
      row.append(
        element('span', 'dot'),
        element('span', 'name', `Encoder ${figure(e.number)}`),
        element('span', 'type', text(e.type)),
        element('span', 'count', connected ? figure(e.listeners) : 'Offline'),
      );
      return row;
    }),
  );
}

function renderHistory(history, now) {
  const rows = (Array.isArray(history) ? history : []).slice(0, kHistoryShown);
  const list = byId('history');
  if (rows.length === 0) {
    list.replaceChildren(element('li', 'empty', 'Nothing played yet'));
    return;
  }
  list.replaceChildren(
    ...rows.map((h) => {
      const row = element('li', 'play');
      const at = element('time', 'at', timeOfDay(h.started));
      at.dateTime = text(h.started);
      const what = element('div', 'what');
      what.append(element('span', 'title', text(h.title) || 'Untitled'));
      if (text(h.artist)) {
        what.append(element('span', 'artist', text(h.artist)));
      }
      row.append(at, what);
      if (now.started && h.started === now.started && text(h.title) === text(now.title)) {
        row.classList.add('current');
        row.append(element('span', 'tag', 'On air'));
      }
      return row;
    }),
  );
}

function render(s) {
  const now = s.now && typeof s.now === 'object' ? s.now : {};
  renderHeader(s);
  renderNow(now, text(s.station));
  renderNext(s.next && typeof s.next === 'object' ? s.next : {});
  renderListeners(s.listeners && typeof s.listeners === 'object' ? s.listeners : {});
  renderHistory(s.history, now);
  tick();
}

// The progress bar and the times under it, on this machine's clock since the last snapshot.
function tick() {
  const now = state.snapshot && state.snapshot.now ? state.snapshot.now : {};
  const kind = kindOf(now);
  const bar = byId('progress');
  const fill = byId('progress-fill');
  let elapsed = kind === 'idle' ? 0 : state.elapsed + (performance.now() - state.at) / 1000;
  if (kind === 'track') {
    const duration = Math.max(0, number(now.duration));
    elapsed = Math.min(elapsed, duration);
    const share = duration > 0 ? elapsed / duration : 0;
    const percent = Math.round(share * 1000) / 10;
    fill.style.width = `${percent}%`;
    bar.setAttribute('aria-valuenow', String(percent));
    bar.dataset.ending = duration > 0 && duration - elapsed <= kEndingSeconds ? 'yes' : 'no';
    setText('elapsed', clock(elapsed));
    setText('duration', clock(duration));
    setText('remaining', `−${clock(duration - elapsed)}`);
  } else {
    // A stream has no length: the bar shows it is live, and the time runs on.
    fill.style.width = kind === 'stream' ? '100%' : '0%';
    bar.setAttribute('aria-valuenow', '0');
    bar.dataset.ending = 'no';
    setText('elapsed', kind === 'idle' ? '' : clock(elapsed));
    setText('duration', kind === 'stream' ? 'Live stream' : '');
    setText('remaining', '');
  }
}

function take(data, fresh) {
  let s;
  try {
    s = JSON.parse(data);
  } catch {
    return;  // a broken snapshot changes nothing; the next one will do
  }
  if (!s || typeof s !== 'object') {
    return;
  }
  state.snapshot = s;
  place(s.now && typeof s.now === 'object' ? s.now : {}, fresh);
  render(s);
}

const kLinkCaptions = {
  connecting: 'Connecting…',
  live: 'Live',
  reconnecting: 'Reconnecting…',
};

function setLink(link) {
  document.body.dataset.link = link;
  setText('link', kLinkCaptions[link]);
  if (link === 'live' && !state.snapshot) {
    setText('now-title', 'Waiting for the console…');
  }
}

// The browser reconnects a dropped stream by itself; a stream refused outright (the console
// closing, say) is closed for good, and is opened again here after a pause.
function connect() {
  const events = new EventSource('/api/events');
  events.addEventListener('open', () => setLink('live'));
  events.addEventListener('error', () => {
    setLink('reconnecting');
    if (events.readyState === EventSource.CLOSED) {
      setTimeout(connect, kReconnectMs);
    }
  });
  events.addEventListener('snapshot', (e) => take(e.data, false));
  for (const name of kChangeEvents) {
    events.addEventListener(name, (e) => take(e.data, true));
  }
}

connect();
setInterval(tick, kTickMs);
