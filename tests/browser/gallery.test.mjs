// gallery.test.mjs - drives the Default layout in Chromium against a running server publishing
// the demo library (make_demo_library), whose test cards, film and camera data are found by
// caption and kind through the JSON API.
//
//   TESSELLAN_URL=http://localhost:8080/ node --test tests/browser/
//
// Also: TESSELLAN_SCREENSHOTS (default tests/browser/out), CHROMIUM (default /usr/bin/chromium).
// Without TESSELLAN_URL all is skipped.

import { test, before, after } from 'node:test';
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { fileURLToPath } from 'node:url';
import { chromium } from 'playwright-core';

const env = process.env;
const slash = (url) => url && (url.endsWith('/') ? url : `${url}/`);
const BASE = slash(env.TESSELLAN_URL);
const SHOTS = path.resolve(env.TESSELLAN_SCREENSHOTS || path.join(path.dirname(fileURLToPath(import.meta.url)), 'out'));

// The pages run in a fixed language and time zone, so the dates they show can be foretold.
const LOCALE = 'en-GB';
const ZONE = 'Pacific/Auckland';
const SIZES = [
  { name: 'phone', viewport: { width: 390, height: 844 }, deviceScaleFactor: 3, isMobile: true, hasTouch: true },
  { name: 'desktop', viewport: { width: 1440, height: 900 }, deviceScaleFactor: 2 },
];

// The demo library's test cards (tools/demo/TestCards.cpp): colours as drawn.
const UPRIGHT = { caption: 'Which way is up?', top: [0xd6, 0x28, 0x28], bottom: [0x28, 0x50, 0xc8] };
const INKS = { caption: "Printer's inks (CMYK)", patches: [[0xd6, 0x28, 0x28], [0x2a, 0x9d, 0x3f], [0x28, 0x50, 0xc8], [0x10, 0xb0, 0xc8], [0xc8, 0x30, 0x8c], [0xf0, 0xc8, 0x18]] };

/** Reads a JSON API reply as the gallery does: parentheses off, then strict JSON. */
async function api(base, command) {
  const res = await fetch(new URL(`json/${command}`, base));
  assert.equal(res.status, 200, `json/${command} answered ${res.status}`);
  let body = (await res.text()).trim();
  if (body.startsWith('(') && body.endsWith(')')) body = body.slice(1, -1);
  return body ? JSON.parse(body) : null;
}

/** Every published photo: { lib, album, index, photo (getpics entry), info (getpicinfo) }. */
async function allPhotos(base) {
  const found = [];
  for (const lib of await api(base, 'getlibs')) {
    for (const album of await api(base, `getalbums?l=${lib.id}`)) {
      for (const [index, photo] of (await api(base, `getpics?l=${lib.id}&a=${album.id}&i=0&c=0`)).entries())
        found.push({ lib, album, index, photo, info: await api(base, `getpicinfo?l=${lib.id}&a=${album.id}&i=${index}`) });
    }
  }
  return found;
}

let browser;
let photos = [];
const skipAll = BASE ? false : 'TESSELLAN_URL is not set';

before(async () => {
  if (skipAll) return;
  fs.mkdirSync(SHOTS, { recursive: true });
  photos = await allPhotos(BASE);
  browser = await chromium.launch({
    executablePath: env.CHROMIUM || '/usr/bin/chromium',
    args: ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
      '--disable-component-update', '--disable-sync', '--autoplay-policy=no-user-gesture-required'],
  });
});

after(async () => browser && browser.close());

const photoWhere = (what, pick) => photos.find(pick) || assert.fail(`the library holds no ${what}`);

/** Runs body on a fresh page, which fails the test on a script error or on any request that
 *  leaves the server, and closes it. */
async function withPage(size, base, body) {
  const context = await browser.newContext({
    viewport: size.viewport, deviceScaleFactor: size.deviceScaleFactor, locale: LOCALE, timezoneId: ZONE,
    isMobile: !!size.isMobile, hasTouch: !!size.hasTouch, acceptDownloads: true,
  });
  try {
    const page = await context.newPage();
    page.setDefaultTimeout(20000);
    const problems = [];
    page.on('pageerror', (err) => problems.push(`script error: ${err.message}`));
    page.on('request', (req) => /^data:/.test(req.url()) || req.url().startsWith(new URL(base).origin) || problems.push(`request outside the server: ${req.url()}`));
    await body(page);
    assert.deepEqual(problems, []);
  } finally {
    await context.close();
  }
}

/** Scrolls the grid until the tile of photo i exists and is in view; returns it. */
async function tileOf(page, i) {
  const tile = page.locator(`.grid a[data-i="${i}"]`);
  for (let tries = 0; (await tile.count()) === 0 && tries < 40; tries++)
    await page.evaluate(() => window.scrollTo(0, document.documentElement.scrollHeight)).then(() => page.waitForTimeout(250));
  await tile.scrollIntoViewIfNeeded();
  return tile;
}

/** Opens the viewer's details panel when it is closed. */
async function showDetails(page) {
  if (!(await page.locator('#v-info').isVisible())) await page.locator('#v-info-btn').click();
  await page.locator('#v-info').waitFor({ state: 'visible' });
}
const toggleDetailsOnPhone = async (page, size) => size.hasTouch && page.locator('#v-info-btn').click(); // the shot shows the picture

/** Lets fades finish, then saves a screenshot. */
async function shot(page, view, size) {
  await page.waitForTimeout(500);
  await page.screenshot({ path: path.join(SHOTS, `${view}-${size.name}.png`) });
}

const hashIs = (page, hash) => page.waitForFunction((h) => location.hash === h, hash);

/** Waits for the viewer to show the picture at position i; returns its sizes and address. */
async function viewerPicture(page, i) {
  return (await page.waitForFunction((index) => {
    const img = document.querySelector(`#viewer img.viewer__img.is-current[data-i="${index}"]`);
    return img && img.complete && img.naturalWidth ? { src: img.currentSrc || img.src, w: img.naturalWidth, h: img.naturalHeight } : null;
  }, i)).jsonValue();
}

/** Checks the colours of the viewer's current picture at points given as fractions of its size. */
async function assertColours(page, points, want, what) {
  const got = await page.evaluate((pts) => {
    const img = document.querySelector('#viewer img.viewer__img.is-current');
    const canvas = Object.assign(document.createElement('canvas'), { width: img.naturalWidth, height: img.naturalHeight });
    const g = canvas.getContext('2d');
    g.drawImage(img, 0, 0);
    return pts.map(([x, y]) => [...g.getImageData(Math.floor(x * canvas.width), Math.floor(y * canvas.height), 1, 1).data.slice(0, 3)]);
  }, points);
  got.forEach((c, k) => {
    const off = Math.max(...c.map((v, j) => Math.abs(v - want[k][j])));
    assert.ok(off <= 24, `${what[k]}: rgb(${c}) is not rgb(${want[k]})`);
  });
}

/** Opens the viewer at a photo by its address. */
async function openViewer(page, p) {
  await page.goto(`${BASE}#/l/${p.lib.id}/a/${p.album.id}/p/${p.index}`);
  await page.locator('#viewer').waitFor({ state: 'visible' });
}

/** Resolves when every thumbnail image in the viewport has finished loading. */
const thumbnailsSettled = (page) => page.waitForFunction(() => {
  const imgs = [...document.querySelectorAll('.grid img')].filter((img) => img.getBoundingClientRect().bottom > 0 && img.getBoundingClientRect().top < innerHeight);
  return imgs.length > 0 && imgs.every((img) => img.complete && img.getAttribute('src'));
});

for (const size of SIZES) {
  test(`albums, grid and viewer (${size.name})`, { skip: skipAll, timeout: 180000 }, async () => {
    const target = photoWhere('JPEG with a camera make and a next photo', (p) => p.info.exif
      && p.info.exif.cameraMake.trim() && p.index + 1 < p.album.size && p.info.mediaType !== 'Movie');
    const { lib, album, index, info } = target;
    const dpr = size.deviceScaleFactor;
    const { width, height } = size.viewport;
    await withPage(size, BASE, async (page) => {
      await page.goto(BASE);
      await page.locator('#site-title').filter({ hasText: (await api(BASE, 'getsite')).trim() || 'Photos' }).waitFor();
      await page.waitForFunction(() => [...document.querySelectorAll('.card__cover img')].some((i) => i.complete && i.naturalWidth));
      await shot(page, 'home', size);

      // Enter the library, then the album.
      await page.locator(`.section-title a[href="#/l/${lib.id}"]`).click();
      await page.locator('h1', { hasText: lib.name }).waitFor();
      await page.locator(`a.card__link[href="#/l/${lib.id}/a/${album.id}"]`).click();
      await page.locator('h1', { hasText: album.name }).waitFor();
      await thumbnailsSettled(page);
      await shot(page, 'album', size);

      // Thumbnails are asked at the size their box needs on this screen (twice the tile on a 2x
      // screen), and come at least that large unless the picture itself is smaller; phones show
      // three or four square tiles a row, desktops keep each thumbnail's shape.
      const thumbs = await page.$$eval('.grid .thumb img', (imgs) => imgs.filter((img) => img.complete).map((img) => {
        const r = img.getBoundingClientRect();
        return { w: r.width, h: r.height, top: Math.round(r.top), nw: img.naturalWidth, nh: img.naturalHeight, size: +new URL(img.src).searchParams.get('size') };
      }));
      assert.ok(thumbs.length > 4);
      for (const t of thumbs) {
        const ratio = t.nw / t.nh;
        const needed = Math.max(t.w * Math.max(1, 1 / ratio), t.h * Math.max(1, ratio)) * dpr;
        assert.ok(t.size >= Math.min(1024, needed - 1), `asked for ${t.size} px for a ${t.w}x${t.h} box at ${dpr}x`);
        assert.ok(Math.max(t.nw, t.nh) >= Math.min(t.size, needed - 1) || Math.max(t.nw, t.nh) < t.size,
          `got ${t.nw}x${t.nh} for a ${t.w}x${t.h} box at ${dpr}x`);
        const box = t.w / t.h;
        if (size.isMobile) assert.ok(Math.abs(box - 1) < 0.02, `phone tile ${t.w}x${t.h}`);
        else assert.ok(Math.abs(box - ratio) / ratio < 0.06, `box ${box} vs thumbnail ${ratio}`);
      }
      const firstRow = thumbs.filter((t) => t.top === thumbs[0].top).length;
      if (size.isMobile) assert.ok(firstRow === 3 || firstRow === 4, `${firstRow} photos in a row on a phone`);

      // Open the photo: scroll until its thumbnail exists, then Enter (desktop) or a tap (phone).
      const thumb = await tileOf(page, index);
      if (size.hasTouch) await thumb.tap(); else await thumb.press('Enter');
      await hashIs(page, `#/l/${lib.id}/a/${album.id}/p/${index}`);
      const first = await viewerPicture(page, index);
      assert.ok(first.src.includes(`/image/?l=${lib.id}&a=${album.id}&i=${index}&mw=${width * dpr}&mh=${height * dpr}&fit=exact`), first.src);
      assert.ok(first.w <= width * dpr && first.h <= height * dpr, `picture ${first.w}x${first.h} does not fit ${width * dpr}x${height * dpr}`);
      assert.ok(first.w === Math.min(width * dpr, info.w) || first.h === Math.min(height * dpr, info.h),
        `picture ${first.w}x${first.h} does not touch the ${width * dpr}x${height * dpr} box (original ${info.w}x${info.h})`);

      // The details: camera make, and the date in the page's language and time zone.
      await showDetails(page);
      await page.waitForFunction(() => document.querySelector('#v-facts').children.length > 0);
      const text = await page.locator('#v-info').innerText();
      const taken = new Intl.DateTimeFormat(LOCALE, { dateStyle: 'medium', timeStyle: 'short', timeZone: ZONE }).format(new Date(info.captureDate.value));
      assert.ok(text.includes(info.exif.cameraMake.trim()), `camera make "${info.exif.cameraMake}" missing from: ${text}`);
      assert.ok(text.includes(taken), `capture date "${taken}" missing from: ${text}`);
      await toggleDetailsOnPhone(page, size);
      await shot(page, 'viewer', size);
      // Nothing of the page shows beside the viewer: it covers the whole window.
      assert.equal(await page.evaluate(() => document.getElementById('viewer').getBoundingClientRect().width), width);

      // The right arrow key moves on to the next photo; Escape then closes the viewer and puts
      // focus on the thumbnail of the photo last shown.
      await page.keyboard.press('ArrowRight');
      await hashIs(page, `#/l/${lib.id}/a/${album.id}/p/${index + 1}`);
      assert.notEqual((await viewerPicture(page, index + 1)).src, first.src);
      await page.keyboard.press('Escape');
      await hashIs(page, `#/l/${lib.id}/a/${album.id}`);
      await page.locator('#viewer').waitFor({ state: 'hidden' });
      await page.waitForFunction((i) => document.activeElement && document.activeElement.dataset.i === String(i), index + 1);

      // A deep link opens the photo, also after a reload.
      await openViewer(page, target);
      await page.reload();
      await viewerPicture(page, index);
    });
  });

  test(`test cards: upright and in true colours (${size.name})`, { skip: skipAll, timeout: 120000 }, async () => {
    const upright = photoWhere('upright test card', (p) => p.photo.caption === UPRIGHT.caption);
    const inks = photoWhere('CMYK test card', (p) => p.photo.caption === INKS.caption);
    await withPage(size, BASE, async (page) => {
      await openViewer(page, upright);
      const pic = await viewerPicture(page, upright.index);
      await page.locator('#v-title').filter({ hasText: UPRIGHT.caption }).waitFor({ state: 'attached' });
      assert.ok(pic.h > pic.w, `the portrait shows as ${pic.w}x${pic.h}`);
      await assertColours(page, [[0.5, 0.05], [0.5, 0.95]], [UPRIGHT.top, UPRIGHT.bottom], ['the top of the upright card', 'its bottom']);
      await showDetails(page);
      await page.locator('#v-facts').filter({ hasText: '1/125\u00a0s' }).waitFor();
      await toggleDetailsOnPhone(page, size);
      await shot(page, 'upright', size);

      await page.keyboard.press('ArrowRight'); // the ink chart comes next
      await page.waitForFunction((h) => location.hash.endsWith(h), `/p/${inks.index}`);
      await viewerPicture(page, inks.index);
      const centres = INKS.patches.map((_, k) => [(k % 3 + 0.5) / 3, (Math.floor(k / 3) + 0.5) / 2]);
      await assertColours(page, centres, INKS.patches, INKS.patches.map((_, k) => `ink patch ${k + 1}`));
      await shot(page, 'inks', size);
    });
  });

  test(`phone and camera pictures: wide-gamut cards in true colours, HEIC and raw shown (${size.name})`, { skip: skipAll, timeout: 120000 }, async () => {
    const cards = ['Inks in Display P3', 'Inks in Adobe RGB'].map((caption) => photoWhere(caption, (p) => p.photo.caption === caption));
    const others = [['HEIC picture', /\.heic$/], ['raw file', /\.nef$/]].map(([what, name]) => photoWhere(what, (p) => name.test(p.info.fileName)));
    await withPage(size, BASE, async (page) => {
      // In the grid: their thumbnails are pictures the browser decodes.
      const first = cards[0];
      await page.goto(`${BASE}#/l/${first.lib.id}/a/${first.album.id}`);
      for (const p of [...cards, ...others]) {
        const img = (await tileOf(page, p.index)).locator('img');
        await page.waitForFunction((el) => el.complete && el.naturalWidth > 0, await img.elementHandle());
      }
      await shot(page, 'phone-pictures-grid', size);
      const centres = INKS.patches.map((_, k) => [(k % 3 + 0.5) / 3, (Math.floor(k / 3) + 0.5) / 2]);
      for (const card of cards) {
        await openViewer(page, card);
        await viewerPicture(page, card.index);
        await assertColours(page, centres, INKS.patches, INKS.patches.map((_, k) => `${card.photo.caption}, patch ${k + 1}`));
      }
      for (const p of others) {
        await openViewer(page, p);
        const pic = await viewerPicture(page, p.index);
        assert.ok(pic.w > pic.h, `${p.info.fileName} shows as ${pic.w}x${pic.h}`);
        await shot(page, p.info.fileName.replace(/\W+/g, '-'), size);
      }
    });
  });

  test(`a phone's film without a thumbnail: its poster, and a plain line where it cannot play (${size.name})`, { skip: skipAll, timeout: 90000 }, async () => {
    const film = photoWhere('HEVC film', (p) => p.info.film && p.info.film.codec === 'hevc');
    assert.match(film.info.film.type, /^video\/mp4; codecs="hvc1\./);
    await withPage(size, BASE, async (page) => {
      // Whatever this browser plays, it is made to play no HEVC, as most desktop browsers do not.
      await page.addInitScript(() => {
        const asked = HTMLMediaElement.prototype.canPlayType;
        HTMLMediaElement.prototype.canPlayType = function (type) {
          return /hvc1|hev1/.test(type) ? '' : asked.call(this, type);
        };
      });
      await page.goto(`${BASE}#/l/${film.lib.id}/a/${film.album.id}`);
      const tile = await tileOf(page, film.index);
      await tile.locator('.thumb__play').waitFor();
      const thumb = tile.locator('img');
      await page.waitForFunction((el) => el.complete && el.naturalWidth > 0, await thumb.elementHandle());
      assert.ok(await thumb.evaluate((el) => el.naturalWidth > el.naturalHeight), 'the poster is landscape');

      await openViewer(page, film);
      const note = page.locator('#viewer .viewer__unplayable.is-current');
      await note.waitFor();
      assert.match(await note.innerText(), /This browser cannot play this film\./);
      const poster = note.locator('img');
      await page.waitForFunction((el) => el.complete && el.naturalWidth > 0, await poster.elementHandle());
      const save = note.locator('a[download]');
      assert.ok((await save.getAttribute('href')).endsWith(`image/?l=${film.lib.id}&a=${film.album.id}&i=${film.index}`));
      assert.equal(await save.getAttribute('download'), film.info.fileName);
      assert.equal(await page.locator('#viewer video').count(), 0, 'no black box');
      await shot(page, 'phone-film', size);
    });
  });

  test(`a film plays in the viewer through byte ranges (${size.name})`, { skip: skipAll, timeout: 90000 }, async () => {
    const film = photoWhere('H.264 film', (p) => p.info.mediaType === 'Movie' && p.info.film && p.info.film.codec === 'h264');
    const src = `/image/?l=${film.lib.id}&a=${film.album.id}&i=${film.index}`;
    await withPage(size, BASE, async (page) => {
      const answers = [];
      page.on('response', (res) => {
        if (res.url().endsWith(src)) answers.push({ status: res.status(), contentRange: res.headers()['content-range'] });
      });
      await page.goto(`${BASE}#/l/${film.lib.id}/a/${film.album.id}`);
      await (await tileOf(page, film.index)).locator('.thumb__play').waitFor(); // a play badge

      await openViewer(page, film);
      const video = page.locator('#viewer video.viewer__img.is-current');
      await video.waitFor();
      assert.ok((await video.getAttribute('src')).endsWith(src.slice(1)));
      const played = await video.evaluate(async (v) => {
        v.muted = true;
        await v.play().then(() => new Promise((resolve) => setTimeout(resolve, 1500)));
        return { time: v.currentTime, w: v.videoWidth, h: v.videoHeight };
      });
      assert.ok(played.time > 0.3, `current time ${played.time} after playing for a while`);
      assert.ok(played.w > 0 && played.h > 0);
      const partial = answers.filter((a) => a.status === 206);
      assert.ok(partial.length > 0, `no range was answered 206: ${JSON.stringify(answers)}`);
      for (const a of partial) assert.match(a.contentRange || '', /^bytes \d+-\d+\/\d+$/);
      await shot(page, 'film', size);
    });
  });
}

// What the archive holds is the download tests' concern; here, that the button gets the browser
// a whole ZIP named after the album.
test('the album download button saves the album as a ZIP', { skip: skipAll, timeout: 120000 }, async () => {
  const p = photoWhere('album in a library with full-size downloads', (x) => x.lib.fullSizeDownload);
  await withPage(SIZES[1], BASE, async (page) => {
    await page.goto(`${BASE}#/l/${p.lib.id}/a/${p.album.id}`);
    const button = page.locator('#album-download');
    await button.waitFor();
    assert.equal(new URL(await button.getAttribute('href'), page.url()).href, new URL(`download/?l=${p.lib.id}&a=${p.album.id}`, BASE).href);
    const [download] = await Promise.all([page.waitForEvent('download'), button.click()]);
    assert.equal(download.suggestedFilename(), `${p.album.name}.zip`);
    const zip = path.join(SHOTS, 'album.zip');
    await download.saveAs(zip);
    const bytes = fs.readFileSync(zip);
    assert.equal(bytes.subarray(0, 4).toString('latin1'), 'PK\x03\x04');
    assert.equal(bytes.readUInt32LE(bytes.length - 22), 0x06054b50, 'the archive is cut short');
  });
});
