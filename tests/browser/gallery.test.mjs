// gallery.test.mjs - drives the Default layout in Chromium against a running server.
//
//   TESSELLAN_URL=http://localhost:8080/ node --test tests/browser/
//
// TESSELLAN_URL          the server to test (the tests are skipped without it)
// TESSELLAN_AUTH_URL     a server that asks for a password, with TESSELLAN_USER / TESSELLAN_PASS
// TESSELLAN_SCREENSHOTS  where the screenshots go (default: tests/browser/out)
// CHROMIUM               the browser (default: /usr/bin/chromium)
//
// The expected values come from the server's own JSON API, so any published library will do as
// long as one album holds a JPEG with a camera make in its EXIF data that is not its last photo,
// and one holds a film.

import { test, before, after } from 'node:test';
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { fileURLToPath } from 'node:url';
import { chromium } from 'playwright-core';

const here = path.dirname(fileURLToPath(import.meta.url));
const BASE = withSlash(process.env.TESSELLAN_URL);
const AUTH_BASE = withSlash(process.env.TESSELLAN_AUTH_URL);
const USER = process.env.TESSELLAN_USER;
const PASS = process.env.TESSELLAN_PASS;
const SHOTS = path.resolve(process.env.TESSELLAN_SCREENSHOTS || path.join(here, 'out'));
const TIMEOUT = 15000;

const SIZES = [
  { name: 'phone', viewport: { width: 390, height: 844 }, deviceScaleFactor: 3, isMobile: true, hasTouch: true },
  { name: 'desktop', viewport: { width: 1440, height: 900 }, deviceScaleFactor: 1 },
];

function withSlash(url) {
  if (!url) return undefined;
  return url.endsWith('/') ? url : `${url}/`;
}

/** Reads a JSON API reply as the gallery does: parentheses off, then strict JSON. */
async function api(base, command, headers = {}) {
  const res = await fetch(new URL(`json/${command}`, base), { headers });
  assert.equal(res.status, 200, `json/${command} answered ${res.status}`);
  let body = (await res.text()).trim();
  if (!body) return null;
  if (body.startsWith('(') && body.endsWith(')')) body = body.slice(1, -1);
  return JSON.parse(body);
}

/** As api(), but null when the server cannot describe the photo (some files have no usable EXIF data). */
async function tryApi(base, command) {
  try {
    return await api(base, command);
  } catch {
    return null;
  }
}

/**
 * Finds a photo to open: a picture (not a film) whose EXIF data names a camera make and that has
 * a next photo, in the first published album that holds one.
 */
async function findTarget(base) {
  for (const lib of await api(base, 'getlibs')) {
    for (const album of await api(base, `getalbums?l=${lib.id}`)) {
      if (album.size < 2) continue;
      const last = Math.min(album.size - 1, 60);
      for (let i = 0; i < last; i++) {
        const info = await tryApi(base, `getpicinfo?l=${lib.id}&a=${album.id}&i=${i}`);
        if (info && info.mediaType !== 'Movie' && info.exif && info.exif.cameraMake.trim() && info.captureDate.string) {
          return { lib, album, index: i, info };
        }
      }
    }
  }
  return null;
}

/** The first published film: its library id, album id and position. */
async function findFilm(base) {
  for (const lib of await api(base, 'getlibs')) {
    for (const album of await api(base, `getalbums?l=${lib.id}`)) {
      for (let i = 0; i < Math.min(album.size, 200); i++) {
        const info = await tryApi(base, `getpicinfo?l=${lib.id}&a=${album.id}&i=${i}`);
        if (info && info.mediaType === 'Movie') return { lib: lib.id, album: album.id, index: i };
      }
    }
  }
  return null;
}

let browser;
let target;

const skipAll = BASE ? false : 'TESSELLAN_URL is not set';

before(async () => {
  if (skipAll) return;
  fs.mkdirSync(SHOTS, { recursive: true });
  target = await findTarget(BASE);
  browser = await chromium.launch({
    executablePath: process.env.CHROMIUM || '/usr/bin/chromium',
    headless: true,
    args: ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
      '--disable-background-networking', '--disable-component-update', '--disable-sync'],
  });
});

after(async () => {
  if (browser) await browser.close();
});

/** A page that fails the test on a script error or on any request that leaves the server. */
async function openPage(size, base, extra = {}) {
  const context = await browser.newContext({
    viewport: size.viewport, deviceScaleFactor: size.deviceScaleFactor,
    isMobile: !!size.isMobile, hasTouch: !!size.hasTouch, ...extra,
  });
  const page = await context.newPage();
  page.setDefaultTimeout(TIMEOUT);
  const problems = [];
  page.on('pageerror', (err) => problems.push(`script error: ${err.message}`));
  page.on('request', (req) => {
    const url = req.url();
    if (!url.startsWith(new URL(base).origin) && !url.startsWith('data:')) problems.push(`request outside the server: ${url}`);
  });
  return { context, page, problems };
}

/** Resolves when every thumbnail image in the viewport has finished loading. */
async function thumbnailsSettled(page) {
  await page.waitForFunction(() => {
    const imgs = [...document.querySelectorAll('.grid img')].filter((img) => {
      const r = img.getBoundingClientRect();
      return r.bottom > 0 && r.top < innerHeight;
    });
    return imgs.length > 0 && imgs.every((img) => img.complete);
  });
  await page.waitForTimeout(500); // the fade-in
}

/** Waits for the viewer to show the picture at position i; returns its sizes and address. */
async function viewerPicture(page, i) {
  const handle = await page.waitForFunction((index) => {
    const img = document.querySelector(`#viewer .viewer__img.is-current[data-i="${index}"]`);
    if (!img || !img.complete || !img.naturalWidth) return null;
    return { src: img.currentSrc || img.src, w: img.naturalWidth, h: img.naturalHeight, alt: img.alt };
  }, i);
  return handle.jsonValue();
}

for (const size of SIZES) {
  test(`browse to a photo and through the viewer (${size.name})`, { skip: skipAll, timeout: 120000 }, async () => {
    assert.ok(target, 'no published album holds a photo with a camera make in its EXIF data and a next photo');
    const { lib, album, index, info } = target;
    const { context, page, problems } = await openPage(size, BASE);
    try {
      const site = await api(BASE, 'getsite');
      await page.goto(BASE);
      await page.locator('#site-title').filter({ hasText: site.trim() || 'Photos' }).waitFor();

      // Enter the library, then the album.
      await page.locator(`.section-title a[href="#/l/${lib.id}"]`).click();
      await page.waitForFunction((l) => location.hash === `#/l/${l}`, lib.id);
      await page.locator('h1', { hasText: lib.name }).waitFor();
      await page.locator(`a.card__link[href="#/l/${lib.id}/a/${album.id}"]`).click();
      await page.locator('h1', { hasText: album.name }).waitFor();
      await thumbnailsSettled(page);

      // Boxes are reserved from the thumbnail sizes: nothing moves once the pictures are in.
      const boxes = await page.$$eval('.grid .thumb', (els) => els.slice(0, 12).map((el) => {
        const r = el.getBoundingClientRect();
        const img = el.querySelector('img');
        return { ratio: r.width / r.height, thumb: img.naturalWidth / img.naturalHeight };
      }));
      for (const b of boxes) {
        if (Number.isFinite(b.thumb)) assert.ok(Math.abs(b.ratio - b.thumb) / b.thumb < 0.06, `box ${b.ratio} vs thumbnail ${b.thumb}`);
      }
      await page.screenshot({ path: path.join(SHOTS, `album-${size.name}.png`) });

      // Open the photo: scroll until its thumbnail exists, then Enter (desktop) or a tap (phone).
      const thumb = page.locator(`.grid a[data-i="${index}"]`);
      for (let tries = 0; (await thumb.count()) === 0 && tries < 40; tries++) {
        await page.evaluate(() => window.scrollTo(0, document.documentElement.scrollHeight));
        await page.waitForTimeout(250);
      }
      await thumb.scrollIntoViewIfNeeded();
      if (size.hasTouch) await thumb.tap();
      else {
        await thumb.focus();
        await page.keyboard.press('Enter');
      }
      await page.waitForFunction((h) => location.hash === h, `#/l/${lib.id}/a/${album.id}/p/${index}`);
      const first = await viewerPicture(page, index);
      const { width, height } = size.viewport;
      const dpr = size.deviceScaleFactor;
      assert.ok(first.src.includes(`/image/?l=${lib.id}&a=${album.id}&i=${index}&mw=`), first.src);
      assert.ok(first.w <= width * dpr && first.h <= height * dpr,
        `picture ${first.w}x${first.h} does not fit ${width * dpr}x${height * dpr}`);

      // The details name the camera make and the capture date of this photo.
      const panel = page.locator('#v-info');
      if (!(await panel.isVisible())) {
        await page.locator('#v-info-btn').click();
        await panel.waitFor({ state: 'visible' });
      }
      await page.waitForFunction(() => document.querySelector('#v-facts').children.length > 0);
      const text = await panel.innerText();
      assert.ok(text.includes(info.exif.cameraMake.trim()), `camera make "${info.exif.cameraMake}" missing from: ${text}`);
      assert.ok(text.includes(info.captureDate.string.trim()), `capture date "${info.captureDate.string}" missing from: ${text}`);
      if (size.hasTouch) await page.locator('#v-info-btn').click(); // the phone shot shows the picture
      await page.waitForTimeout(500);
      await page.screenshot({ path: path.join(SHOTS, `viewer-${size.name}.png`) });

      // The right arrow key moves on to the next photo, which loads at its own address.
      await page.keyboard.press('ArrowRight');
      await page.waitForFunction((h) => location.hash === h, `#/l/${lib.id}/a/${album.id}/p/${index + 1}`);
      const second = await viewerPicture(page, index + 1);
      assert.notEqual(second.src, first.src);
      assert.ok(second.w > 0 && second.h > 0);

      // Escape closes the viewer and puts focus on the thumbnail of the photo last shown.
      await page.keyboard.press('Escape');
      await page.waitForFunction((h) => location.hash === h, `#/l/${lib.id}/a/${album.id}`);
      await page.locator('#viewer').waitFor({ state: 'hidden' });
      await page.waitForFunction((i) => document.activeElement && document.activeElement.dataset.i === String(i), index + 1);

      // A deep link opens the photo, also after a reload.
      await page.goto(`${BASE}#/l/${lib.id}/a/${album.id}/p/${index}`);
      await viewerPicture(page, index);
      await page.reload();
      await viewerPicture(page, index);
      await page.locator('#v-facts').filter({ hasText: info.exif.cameraMake.trim() }).waitFor({ state: 'attached' });

      assert.deepEqual(problems, []);
    } finally {
      await context.close();
    }
  });
}

test('a film plays in a <video> element through byte ranges', { skip: skipAll, timeout: 60000 }, async () => {
  const film = await findFilm(BASE);
  assert.ok(film, 'no published album holds a film');
  const src = `/image/?l=${film.lib}&a=${film.album}&i=${film.index}`;
  const { context, page, problems } = await openPage(SIZES[1], BASE);
  const answers = [];
  page.on('response', async (res) => {
    if (!res.url().includes(src)) return;
    const asked = await res.request().allHeaders();
    answers.push({ status: res.status(), range: asked.range, contentRange: res.headers()['content-range'] });
  });
  try {
    await page.goto(BASE); // the film is asked for from the server's own origin
    const state = await page.evaluate((address) => new Promise((resolve) => {
      const video = document.createElement('video');
      video.muted = true;
      video.preload = 'auto';
      const report = (why) => resolve({
        why, readyState: video.readyState, width: video.videoWidth, height: video.videoHeight,
        duration: video.duration, error: video.error && video.error.message,
      });
      video.addEventListener('loadeddata', () => report('loadeddata'), { once: true });
      video.addEventListener('error', () => report('error'), { once: true });
      setTimeout(() => report('timeout'), 15000);
      video.src = address;
      document.body.append(video);
    }), src);
    assert.equal(state.why, 'loadeddata', `the film did not load: ${JSON.stringify(state)}`);
    assert.ok(state.readyState >= 2, `readyState ${state.readyState}`);
    assert.ok(state.width > 0 && state.height > 0, `no picture: ${state.width}x${state.height}`);
    assert.ok(state.duration > 0, `duration ${state.duration}`);

    // It plays on: the current time moves.
    const played = await page.evaluate(async () => {
      const video = document.querySelector('video');
      await video.play();
      await new Promise((resolve) => setTimeout(resolve, 1200));
      return video.currentTime;
    });
    assert.ok(played > 0.3, `current time ${played} after playing for a while`);

    const partial = answers.filter((a) => a.status === 206);
    assert.ok(partial.length > 0, `no range was answered 206: ${JSON.stringify(answers)}`);
    for (const a of partial) {
      assert.ok(a.range && /^bytes=\d*-\d*$/.test(a.range), `206 to a request without a single range: ${JSON.stringify(a)}`);
      assert.match(a.contentRange || '', /^bytes \d+-\d+\/\d+$/);
    }
    await page.screenshot({ path: path.join(SHOTS, 'film-desktop.png') });
    assert.deepEqual(problems, []);
  } finally {
    await context.close();
  }
});

const skipAuth = skipAll || (AUTH_BASE && USER != null && PASS != null ? false : 'TESSELLAN_AUTH_URL, TESSELLAN_USER or TESSELLAN_PASS is not set');

test('a password-protected server asks for credentials and works with them', { skip: skipAuth, timeout: 60000 }, async () => {
  // Without credentials every address answers 401 with the Basic challenge.
  for (const where of ['', 'index.html', 'json/getlibs', 'json/getsite']) {
    const res = await fetch(new URL(where, AUTH_BASE));
    assert.equal(res.status, 401, `/${where} answered ${res.status}`);
    assert.match(res.headers.get('www-authenticate') || '', /^Basic realm="Tessellan"$/);
  }
  const wrong = await fetch(new URL('json/getlibs', AUTH_BASE), {
    headers: { Authorization: `Basic ${Buffer.from(`${USER}:${PASS}x`).toString('base64')}` },
  });
  assert.equal(wrong.status, 401);

  const authorization = { Authorization: `Basic ${Buffer.from(`${USER}:${PASS}`).toString('base64')}` };
  const libs = await api(AUTH_BASE, 'getlibs', authorization);
  const known = await openPage(SIZES[1], AUTH_BASE, { httpCredentials: { username: USER, password: PASS } });
  try {
    const res = await known.page.goto(AUTH_BASE);
    assert.equal(res.status(), 200);
    if (libs.length) await known.page.locator(`.section-title a[href="#/l/${libs[0].id}"]`).waitFor();
    else await known.page.locator('h1').waitFor();
    assert.deepEqual(known.problems, []);
  } finally {
    await known.context.close();
  }
});
