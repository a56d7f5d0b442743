
const $ = (id) => document.getElementById(id);

// ----- Asking the engine

const kPatience = {recognition: 60_000, status: 5_000};  // milliseconds

// One request at a time, and none keeps its connection: an engine may have a single one to give.
let lastTurn = Promise.resolve();
function inTurn(job) {
  const turn = lastTurn.then(job);
  lastTurn = turn.catch(() => {});
  return turn;
}

// What came back: `status` of the answer, and `body` when it was JSON. `status` is 0 when there was no answer,
// and `late` says whether that was for the time it took.
async function ask(path, patience, options = {}) {
  try {
    const response = await fetch(path, {
      ...options,
      cache: 'no-store',
      headers: {'Velmora-Connection': 'close'},
      signal: AbortSignal.timeout(patience),
    });
    return {status: response.status, body: jsonOf(await response.text())};
  } catch (failure) {
    return {status: 0, late: failure.name === 'TimeoutError'};
  }
}

function jsonOf(text) {
  try {
    return JSON.parse(text);
  } catch {
    return null;
  }
}

// ----- What went wrong, in plain words

const kWords = {
  400: ['The engine did not understand the request.', 'Reload the page; it may be older than the engine.'],
  404: ['The engine is not at this address.', 'Something else answered. Is a proxy in between?'],
  405: ['The engine is not at this address.', 'Something else answered. Is a proxy in between?'],
  408: ['The image took too long to arrive.', 'The network was slow or broke off. Try again, or take a smaller image.'],
  413: ['The image is too large.', 'Take one with fewer pixels, or cut out the part with the symbol.'],
  415: ['This is not an image that the engine reads.', 'It reads PNG, JPEG and WebP; save the image as one of them.'],
  422: ['The image is damaged.', 'Part of it is missing or wrong. Take another copy of it.'],
  431: ['The browser sent more about itself than the engine takes.', 'Cookies of other pages of this host may be to blame.'],
  500: ['The engine failed on this image.', 'Other images may go well.'],
  502: ['The engine is not behind its proxy.', 'The proxy answered, the engine did not. Is it running?'],
  503: ['The engine is busy.', 'Try again in a moment.'],
  504: ['The engine took too long for its proxy.', 'Try again in a moment.'],
};
// The code of an answer with status 422 whose image is not to blame, as far as is known.
const kGivenUp = 999;
const kGivenUpWords = ['The engine gave this image up.', 'It was too much to read. Cut out the part with the symbol.'];
// Failures that stay, however often the same image is sent.
const kLasting = [400, 413, 415, 422];
const kOtherWords = ['The engine cannot answer this.', 'Reload the page and try again.'];
const kGone = ['The engine cannot be reached.', 'Is it running? Start it, then try again.'];
const kLate = ['The engine does not answer.', 'It was given a minute. It may be very busy, or hang.'];
const kGarbled = ['The answer could not be understood.', 'Something other than the engine answered. Is a proxy in between?'];
const kUnreadable = ['The file could not be read.', 'It may have been moved, or be a folder.'];

// The same for reasons that the engine tells apart under one status, by a part of its message.
const kBusyWords = [
  ['connections', 'All of its connections are taken. Try again in a moment.'],
  ['queue', 'As many images as it takes on wait already. Try again in a moment.'],
  ['waited', 'It did not get to the image in time. Try again in a moment.'],
  ['stopped', 'It is being stopped. Try again once it runs.'],
];

function wordsFor(answer) {
  if (answer.status === 0) {
    return answer.late ? kLate : kGone;
  }
  if (answer.status === 200) {
    return kGarbled;
  }
  if (answer.status === 422 && answer.body?.code === kGivenUp) {
    return kGivenUpWords;
  }
  const [title, hint] = kWords[answer.status] ?? kOtherWords;
  const message = messageOf(answer);
  const busy = answer.status === 503 && kBusyWords.find(([part]) => message.includes(part));
  return [title, busy ? busy[1] : hint];
}

function messageOf(answer) {
  return typeof answer.body?.message === 'string' ? answer.body.message : '';
}

// ----- How an image lies

// The engine looks at the pixels as they are stored, and tells how the camera was held: 1 (as stored) to 8. Browsers
// show such a JPEG upright; of the other types not all do, so those are shown as they are stored.
const orientationOf = (image) => image?.type === 'jpeg' && image.orientation || 1;

// Where a stored point is seen, in an image of the stored size.
function seenAt({x, y}, {width, height}, orientation) {
  switch (orientation) {
    case 2: return {x: width - x, y};
    case 3: return {x: width - x, y: height - y};
    case 4: return {x, y: height - y};
    case 5: return {x: y, y: x};
    case 6: return {x: height - y, y: x};
    case 7: return {x: height - y, y: width - x};
    case 8: return {x: y, y: width - x};
    default: return {x, y};
  }
}

const isTurned = (orientation) => orientation >= 5;

// ----- One image and what became of it

let newest = 0;   // number of the image that was put in last
let shown = null; // what "Try again" takes

async function read(file) {
  const mine = ++newest;
  closeCamera();
  $('camera-note').hidden = true;
  shown = file;
  clearOutcome('Reading');
  let bytes = null;
  try {
    bytes = await file.arrayBuffer();
  } catch {
    if (mine === newest) {
      showFailure(kUnreadable);
    }
    return;
  }
  if (mine !== newest) {
    return;
  }
  showImage(file);
  const waiting = sayHowLong(mine);
  const started = performance.now();
  const answer = await inTurn(() => mine === newest
      ? ask('v1/recognize', kPatience.recognition, {method: 'POST', body: bytes}) : null);
  clearInterval(waiting);
  if (mine === newest && answer) {
    showAnswer(answer, performance.now() - started);
    refreshSoon();
  }
}

// After a while, says that it takes long and how long.
function sayHowLong(mine) {
  const started = performance.now();
  return setInterval(() => {
    if (mine === newest) {
      $('headline').textContent = `Reading, ${Math.round((performance.now() - started) / 1000)} seconds so far`;
    }
  }, 1000);
}

function clearOutcome(headline) {
  document.body.classList.add('occupied');
  $('outcome').hidden = false;
  $('outcome').classList.remove('failed');
  $('outcome').classList.add('imageless');
  $('headline').textContent = headline;
  for (const id of ['words', 'detail', 'again-line', 'times']) {
    $(id).hidden = true;
  }
  for (const id of ['symbols', 'outlines', 'badges']) {
    $(id).replaceChildren();
  }
  $('said').textContent = '';
  $('alarm').textContent = '';
}

function showImage(file) {
  const image = $('image');
  URL.revokeObjectURL(image.src);
  $('stage').classList.remove('as-stored');
  image.onload = () => {
    shapeStage(image.naturalWidth, image.naturalHeight);
    $('outcome').classList.remove('imageless');
  };
  image.onerror = () => $('outcome').classList.add('imageless');
  image.src = URL.createObjectURL(file);
}

function shapeStage(width, height) {
  $('stage').style.setProperty('--wide', width);
  $('stage').style.setProperty('--high', height);
  $('outlines').setAttribute('viewBox', `0 0 ${width} ${height}`);
}

function showAnswer(answer, milliseconds) {
  const body = answer.body;
  if (answer.status === 200 && Array.isArray(body?.symbols)) {
    showSymbols(body);
  } else {
    showFailure(wordsFor(answer), messageOf(answer));
    $('again-line').hidden = kLasting.includes(answer.status);
  }
  if (typeof body?.waitedMs === 'number' && typeof body?.workedMs === 'number') {
    $('waited').textContent = inMilliseconds(body.waitedMs);
    $('worked').textContent = inMilliseconds(body.workedMs);
    $('answered').textContent = inMilliseconds(milliseconds);
    $('times').hidden = false;
  }
}

function showFailure([title, hint], message = '') {
  $('outcome').classList.add('failed');
  $('headline').textContent = title;
  $('words').textContent = hint;
  $('words').hidden = false;
  $('detail').textContent = message && `In the engine’s own words: ${message}.`;
  $('detail').hidden = !message;
  $('again-line').hidden = false;
  $('alarm').textContent = `${title} ${hint}`;
}

function showSymbols({symbols, image}) {
  const orientation = orientationOf(image);
  // Nothing but a mark that the engine has seen may turn the image, or the outlines would lie elsewhere.
  $('stage').classList.toggle('as-stored', orientation === 1);
  const count = symbols.length;
  const headline = count === 0 ? 'No symbol found' : count === 1 ? '1 symbol' : `${count} symbols`;
  $('headline').textContent = headline;
  $('said').textContent = count === 0 ? headline : `${headline} found`;
  $('words').hidden = count !== 0;
  $('words').textContent = 'The image is sound, but there is no bar code in it that can be read. A closer or sharper picture may help.';
  if (image) {
    shapeStage(...isTurned(orientation) ? [image.height, image.width] : [image.width, image.height]);
  }
  symbols.forEach((symbol, index) => {
    const item = itemFor(symbol, index + 1);
    $('symbols').append(item);
    outline(symbol.corners.map((corner) => seenAt(corner, image, orientation)), index + 1, item.firstChild);
  });
}

// Text of a symbol may be anything: it is only ever set as text.
function element(name, className, text = '') {
  const made = document.createElement(name);
  made.className = className;
  made.textContent = text;
  return made;
}

function itemFor(symbol, number) {
  const button = element('button', 'symbol');
  button.type = 'button';
  const what = element('span', 'what');
  what.append(element('span', 'format', symbol.format), element('span', 'text', symbol.text));
  const copy = element('span', 'copy', 'Copy');
  button.append(element('span', 'number', number), what, copy);
  button.addEventListener('click', () => copyText(symbol.text, copy));
  const item = document.createElement('li');
  item.append(button);
  return item;
}

// Draws the outline of a symbol and joins it with its button: each shows when the other one is meant.
function outline(corners, number, button) {
  const points = corners.map(({x, y}) => `${x},${y}`).join(' ');
  const shapes = ['halo', 'outline'].map((className) => {
    const shape = document.createElementNS('http://www.w3.org/2000/svg', 'polygon');
    shape.setAttribute('class', className);
    shape.setAttribute('points', points);
    return shape;
  });
  $('outlines').append(...shapes);
  const name = (isNamed) => () => shapes[1].classList.toggle('named', isNamed);
  for (const [event, isNamed] of [['pointerenter', true], ['focus', true], ['pointerleave', false], ['blur', false]]) {
    button.addEventListener(event, name(isNamed));
  }
  shapes[1].addEventListener('click', () => button.click());
  placeBadge(corners, number);
}

function placeBadge(corners, number) {
  const {width, height} = $('outlines').viewBox.baseVal;
  const badge = element('span', '', number);
  badge.style.left = `${100 * corners[0].x / width}%`;
  badge.style.top = `${100 * corners[0].y / height}%`;
  $('badges').append(badge);
}

// ----- Copying

async function copyText(text, label) {
  const copied = await withClipboard(text) || withSelection(text);
  label.textContent = copied ? 'Copied' : 'Select it';
  $('said').textContent = copied ? 'Copied' : 'The browser does not let the page copy. Select the text and copy it.';
  clearTimeout(label.timer);
  label.timer = setTimeout(() => {
    label.textContent = 'Copy';
    $('said').textContent = '';
  }, 2500);
}

async function withClipboard(text) {
  try {
    await navigator.clipboard.writeText(text);
    return true;
  } catch {
    return false;  // not allowed, or not there: the page came over plain HTTP from another host
  }
}

function withSelection(text) {
  const focused = document.activeElement;
  const field = element('textarea', 'unseen');
  field.value = text;
  field.readOnly = true;
  document.body.append(field);
  field.select();
  const copied = document.execCommand('copy');
  field.remove();
  focused?.focus();
  return copied;
}

// ----- Ways an image comes in

$('file').addEventListener('change', () => {
  const [file] = $('file').files;
  if (file) {
    read(file);
  }
  $('file').value = '';  // so that the same file can be chosen again
});

$('again').addEventListener('click', () => read(shown));

$('example').addEventListener('click', () => {
  const bytes = Uint8Array.from(atob('@SAMPLE@'), (character) => character.charCodeAt(0));
  read(new Blob([bytes], {type: 'image/png'}));
});

// Whatever is dropped or pasted: the first file of it.
function readFrom(transfer, complaint) {
  const [file] = transfer?.files ?? [];
  if (file) {
    read(file);
    return;
  }
  ++newest;
  clearOutcome('');
  showFailure(complaint);
  $('again-line').hidden = true;
}

document.addEventListener('paste', (event) => {
  readFrom(event.clipboardData, ['There is no image in the clipboard.', 'Copy the image itself, not its address.']);
});
document.addEventListener('dragover', (event) => {
  event.preventDefault();
  document.body.classList.add('dragging');
});
for (const end of ['dragleave', 'drop']) {
  document.addEventListener(end, (event) => {
    if (end === 'drop' || event.relatedTarget === null) {
      document.body.classList.remove('dragging');
    }
  });
}
document.addEventListener('drop', (event) => {
  event.preventDefault();
  readFrom(event.dataTransfer, ['What was dropped is no file.', 'Save the image first, then drop the file.']);
});

// ----- Camera

let stream = null;
let openings = 0;  // number of the attempt to open the camera that counts

const kCameraWords = {
  NotFoundError: 'There is no camera on this device.',
  OverconstrainedError: 'There is no camera on this device that can be used.',
  NotAllowedError: 'The camera was not allowed. Allow it for this page in the browser’s settings, then try again.',
  NotReadableError: 'The camera does not start. Another program may be using it.',
};

async function openCamera() {
  const mine = ++openings;
  $('camera-note').hidden = true;
  if (!navigator.mediaDevices?.getUserMedia) {
    sayOfCamera(window.isSecureContext
        ? 'This browser has no camera to offer.'
        : 'Browsers give the camera only to pages that come over HTTPS or from the same machine, and this one came ' +
          'over plain HTTP from another. “Choose an image” offers the camera on many phones.');
    return;
  }
  try {
    const opened = await navigator.mediaDevices.getUserMedia(
        {video: {facingMode: 'environment', width: {ideal: 1920}, height: {ideal: 1080}}});
    if (mine !== openings) {
      opened.getTracks().forEach((track) => track.stop());
      return;
    }
    stopStream();
    stream = opened;
    $('video').srcObject = stream;
    $('finder').hidden = false;
    await $('video').play();
    $('take').focus();
  } catch (failure) {
    if (mine === openings) {
      closeCamera();
      sayOfCamera(kCameraWords[failure.name] ?? 'The camera does not start.');
    }
  }
}

function sayOfCamera(words) {
  $('camera-note').textContent = words;
  $('camera-note').hidden = false;
}

function stopStream() {
  stream?.getTracks().forEach((track) => track.stop());
  stream = null;
}

function closeCamera() {
  ++openings;
  stopStream();
  $('video').srcObject = null;
  $('finder').hidden = true;
}

function takePicture() {
  const video = $('video');
  if (!video.videoWidth) {
    return;  // no picture has arrived yet
  }
  const canvas = document.createElement('canvas');
  canvas.width = video.videoWidth;
  canvas.height = video.videoHeight;
  canvas.getContext('2d').drawImage(video, 0, 0);
  canvas.toBlob((picture) => picture && read(picture), 'image/jpeg', 0.92);
  $('camera').focus();
}

$('camera').addEventListener('click', openCamera);
$('take').addEventListener('click', takePicture);
$('close-camera').addEventListener('click', () => {
  closeCamera();
  $('camera').focus();
});
$('finder').addEventListener('keydown', (event) => {
  if (event.key === 'Escape') {
    $('close-camera').click();
  }
});
window.addEventListener('pagehide', closeCamera);

// ----- The engine now

const kPeriod = 2000;           // milliseconds between two looks
const kWindow = 300;            // seconds that the plots show
const kForgetAfter = 3;         // rounds through all copies in which one did not answer

// Behind one address there may be several copies of the engine that answer in turn; each counts for itself.
// By start time and port: what a copy said last, and the number of the look at which it did.
const copies = new Map();
let looks = 0;
// What was new at each look: {from, to, waited, worked} in seconds, {requests, images}.
const samples = [];

const seconds = () => performance.now() / 1000;
const sum = (values) => values.reduce((total, value) => total + value, 0);

function digestOf(status) {
  const {counters, config} = status;
  const recognitions = Object.values(counters.recognitions);
  return {
    images: sum(recognitions),
    unreadable: sum(recognitions) - (counters.recognitions.VELMORA_LIGHT_SUCCESS ?? 0),
    symbols: counters.symbols,
    refused: counters.connectionsRefused + counters.queueFull + counters.queueTimeouts,
    waiting: counters.requestsWaiting,
    busy: counters.workersBusy,
    workers: config.threads,
    open: counters.connectionsOpen,
    connections: config.conns,
    waited: counters.waitedSeconds,
    worked: counters.workedSeconds,
  };
}

async function look() {
  const answer = await inTurn(() => ask('v1/status', kPatience.status));
  if (answer.status === 200 && answer.body?.counters?.recognitions && answer.body?.config) {
    takeIn(answer.body);
  } else {
    showAbsence(answer);
  }
  drawPlots();
}

function takeIn(status) {
  const key = `${status.startTimeSeconds} ${status.config.port}`;
  const known = copies.get(key);
  const now = {...digestOf(status), look: ++looks, at: seconds()};
  copies.set(key, now);
  for (const [each, {look: lastLook}] of copies) {
    if (looks - lastLook > kForgetAfter * copies.size) {
      copies.delete(each);
    }
  }
  if (known) {
    const gained = (name) => now[name] - known[name];
    samples.push({from: Math.max(known.at, samples.at(-1)?.to ?? 0), to: now.at, images: gained('images'),
                  requests: gained('images') + gained('refused'), waited: gained('waited'), worked: gained('worked')});
  }
  showCounters();
  const many = copies.size > 1 ? ` · ${copies.size} copies` : '';
  setHealth('serving', `Serving${many}`);
  $('version').textContent = `${status.description ?? 'engine'} · ${status.version} · ${status.build}`;
}

function showCounters() {
  const all = [...copies.values()];
  const total = (name) => sum(all.map((copy) => copy[name]));
  const images = total('images');
  for (const [id, value] of Object.entries({
    images: inWhole(images),
    found: inWhole(total('symbols')),
    unreadable: inWhole(total('unreadable')),
    refused: inWhole(total('refused')),
    waiting: inWhole(total('waiting')),
    busy: `${inWhole(total('busy'))} of ${inWhole(total('workers'))}`,
    connections: `${inWhole(total('open'))} of ${inWhole(total('connections'))}`,
    average: images ? inMilliseconds(1000 * (total('waited') + total('worked')) / images, '') : '–',
  })) {
    $(id).textContent = value;
  }
  $('counters').classList.remove('old');
}

function showAbsence(answer) {
  if (answer.status === 503) {
    setHealth('busy', 'Serving, all connections taken');
    return;
  }
  copies.clear();  // what comes back may have begun anew
  $('counters').classList.add('old');
  setHealth('gone', answer.late ? 'Not answering' : 'Not reachable');
}

// Said once, not at every look.
function setHealth(state, words) {
  $('health').dataset.state = state;
  if ($('health-text').textContent !== words) {
    $('health-text').textContent = words;
  }
}

// ----- Plots

// The least of 1, 2, 5, 10, 20, ... and their tenths that is not below.
function roundedUp(value) {
  const power = 10 ** Math.floor(Math.log10(value));
  return power * [1, 2, 5, 10].find((step) => step * power >= value * 0.999999);
}

// A bar from each {from, to, low, high}; heights are parts of `most`.
function pathOf(bars, most) {
  const now = seconds();
  const least = 2;  // wide enough to be seen
  return bars.map(({from, to, low, high}) => {
    const right = Math.min(kWindow, kWindow - (now - to));
    const left = Math.max(0, Math.min(kWindow - (now - from), right - least));
    const y = (value) => (100 - 100 * value / most).toFixed(2);
    return `M${left.toFixed(2)} ${y(low)}V${y(high)}H${right.toFixed(2)}V${y(low)}Z`;
  }).join('');
}

function drawPlots() {
  const start = seconds() - kWindow;
  while (samples.length > 0 && samples[0].to < start) {
    samples.shift();
  }
  drawRates(samples.filter(({requests}) => requests > 0));
  drawTimes(samples.filter(({images}) => images > 0));
}

function drawRates(active) {
  const bars = active.map(({from, to, requests}) => ({from, to, low: 0, high: requests / Math.max(to - from, 0.1)}));
  const most = roundedUp(Math.max(1, ...bars.map(({high}) => high)));
  $('rate-bars').setAttribute('d', pathOf(bars, most));
  $('rate-most').textContent = `${inWhole(most)} a second`;
  const requests = sum(active.map((sample) => sample.requests));
  $('rate-summary').textContent = `${inWhole(requests)} request${requests === 1 ? '' : 's'} in the last five minutes`;
}

function drawTimes(active) {
  const times = active.map(({from, to, images, waited, worked}) =>
    ({from, to, worked: 1000 * worked / images, all: 1000 * (waited + worked) / images}));
  const most = roundedUp(Math.max(1, ...times.map(({all}) => all)));
  $('worked-bars').setAttribute('d', pathOf(times.map((each) => ({...each, low: 0, high: each.worked})), most));
  $('waited-bars').setAttribute('d', pathOf(times.map((each) => ({...each, low: each.worked, high: each.all})), most));
  $('time-most').textContent = `${inWhole(most)} ms`;
  const images = sum(active.map((sample) => sample.images));
  $('time-summary').textContent = images === 0 ? 'No image in the last five minutes'
      : `An image waited ${inMilliseconds(1000 * sum(active.map(({waited}) => waited)) / images)} and was worked on for ` +
        `${inMilliseconds(1000 * sum(active.map(({worked}) => worked)) / images)}, on average over the last five minutes`;
}

// ----- Numbers

function inWhole(value) {
  return new Intl.NumberFormat('en').format(value);
}

function inMilliseconds(value, unit = ' ms') {
  const digits = value < 10 ? 2 : value < 100 ? 1 : 0;
  return new Intl.NumberFormat('en', {minimumFractionDigits: digits, maximumFractionDigits: digits}).format(value) + unit;
}

// ----- Looking again and again, while somebody looks at the page

let timer = 0;
let looking = false;

async function lookOn() {
  clearTimeout(timer);
  if (looking || document.hidden) {
    return;
  }
  looking = true;
  try {
    await look();
  } finally {
    looking = false;
    clearTimeout(timer);
    timer = setTimeout(lookOn, kPeriod);
  }
}

// What was just read is to be seen in the counters.
function refreshSoon() {
  clearTimeout(timer);
  timer = setTimeout(lookOn, 100);
}

document.addEventListener('visibilitychange', lookOn);
lookOn();
