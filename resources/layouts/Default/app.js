// app.js - the Default layout's client: reads the JSON API, routes on the location hash
// (#/, #/l/L, #/l/L/a/A, #/l/L/a/A/p/I) and shows libraries, albums, photo grids and the viewer.
'use strict';

(() => {
  // Photos asked of getpics at a time; the server probes one file per photo, so pages stay small.
  const PAGE_SIZE = 40;
  const SLIDE_MS = 5000;
  const SPINNER_DELAY_MS = 300;
  const INFO_KEY = 'tessellan.viewer.info';

  const reducedMotion = window.matchMedia('(prefers-reduced-motion: reduce)');
  const wideScreen = window.matchMedia('(min-width: 960px)');
  const numberFormat = new Intl.NumberFormat();

  // ------------------------------------------------------------------ JSON API

  /**
   * Turns a JSON API reply body into a value; an empty body (the server's answer to a missing
   * variable) gives null. getpicinfo wraps its object in parentheses, which are dropped. The text
   * is never evaluated as script.
   */
  function parseReply(text) {
    let body = text.trim();
    if (!body) return null;
    if (body.startsWith('(') && body.endsWith(')')) body = body.slice(1, -1);
    return JSON.parse(body);
  }

  // One request per URL for the life of the page; a failed one is forgotten so it can be retried.
  const replies = new Map();
  function load(url) {
    let reply = replies.get(url);
    if (!reply) {
      reply = fetch(url, { credentials: 'same-origin' })
        .then((res) => {
          if (!res.ok) throw new Error(`The server answered ${res.status}.`);
          return res.text();
        })
        .then(parseReply);
      reply.catch(() => replies.delete(url));
      replies.set(url, reply);
    }
    return reply;
  }

  const api = {
    site: () => load('json/getsite'),
    libs: () => load('json/getlibs').then((v) => v || []),
    albums: (l) => load(`json/getalbums?l=${l}`).then((v) => v || []),
    pics: (l, a, i, c) => load(`json/getpics?l=${l}&a=${a}&i=${i}&c=${c}`).then((v) => v || []),
    info: (l, a, i) => load(`json/getpicinfo?l=${l}&a=${a}&i=${i}`),
  };

  /** api.info, but at most two at a time, so that details asked for a whole grid never hold up its thumbnails. */
  const infoQueue = [];
  let infoRunning = 0;
  function infoSoon(l, a, i) {
    return new Promise((resolve, reject) => {
      infoQueue.push(() => api.info(l, a, i).then(resolve, reject));
      pumpInfo();
    });
  }
  function pumpInfo() {
    while (infoRunning < 2 && infoQueue.length) {
      infoRunning++;
      infoQueue.shift()().finally(() => { infoRunning--; pumpInfo(); });
    }
  }

  /** A thumbnail whose longer side is size pixels (the server's own small one without size). */
  const thumbURL = (l, a, id, size) => `thumbnail/?l=${l}&a=${a}&p=${id}` + (size ? `&size=${size}` : '');
  /** The picture at position i; with a box, fitted into it exactly (JPEG only), else the original file. */
  const imageURL = (l, a, i, box) => `image/?l=${l}&a=${a}&i=${i}` + (box ? `&mw=${box.w}&mh=${box.h}&fit=exact` : '');
  const albumZipURL = (l, a) => `download/?l=${l}&a=${a}`;

  const dpr = () => window.devicePixelRatio || 1;

  /** The window in device pixels: the box the viewer asks pictures for. */
  function fitBox() {
    return { w: Math.max(1, Math.round(window.innerWidth * dpr())), h: Math.max(1, Math.round(window.innerHeight * dpr())) };
  }

  /**
   * The thumbnail size (its longer side) that covers a box of w x h CSS pixels with a picture of
   * shape ratio (width / height) on this screen, rounded up to a step of 64 so that the server's
   * and the browser's caches hit, within what the server makes (64 to 1024).
   */
  function thumbSize(w, h, ratio) {
    const longer = Math.max(w * Math.max(1, 1 / ratio), h * Math.max(1, ratio)) * dpr();
    return Math.min(1024, Math.max(64, Math.ceil(longer / 64) * 64));
  }

  /** Gives each image (with data-thumb = "l,a,id" and data-ratio) a thumbnail as large as its box needs; never a smaller one. */
  function sizeThumbs(imgs) {
    const wanted = imgs.map((img) => {
      const r = img.getBoundingClientRect();
      return r.width > 0 ? thumbSize(r.width, r.height, +img.dataset.ratio || 1) : 0;
    });
    imgs.forEach((img, k) => {
      if (!wanted[k] || wanted[k] <= (+img.dataset.size || 0)) return;
      const [l, a, id] = img.dataset.thumb.split(',');
      img.dataset.size = String(wanted[k]);
      img.src = thumbURL(l, a, id, wanted[k]);
    });
  }

  let resizeThumbsTimer = 0;
  window.addEventListener('resize', () => {
    clearTimeout(resizeThumbsTimer);
    resizeThumbsTimer = setTimeout(() => sizeThumbs([...main.querySelectorAll('img[data-thumb]')]), 250);
  });

  // Files browsers show by themselves, and those the server makes into JPEGs for a box (HEIC and
  // HEIF, camera raw files with a preview); others (TIFF, ...) are shown by their thumbnail.
  const SHOWN_TYPES = /\.(jpe?g|png|gif|webp|avif|bmp|svg|heic|heif|hif|dng|nef|nrw|cr2|arw|srf|sr2|orf|rw2|raf|pef|srw|erf|kdc|mrw|3fr)$/i;
  /** What the viewer shows for a photo: 'film', 'picture' or 'thumbnail' (by getpicinfo; unknown counts as a picture). */
  function kindOf(info) {
    if (!info) return 'picture';
    if (info.mediaType === 'Movie') return 'film';
    return !info.fileName || SHOWN_TYPES.test(info.fileName) ? 'picture' : 'thumbnail';
  }

  // ------------------------------------------------------------------ albums

  /** One published album: its getalbums entry and its photos, fetched a page at a time. */
  class Album {
    constructor(lib, meta) {
      this.lib = lib;
      this.l = lib.id;
      this.a = meta.id;
      this.meta = meta;
      this.size = Math.max(0, meta.size | 0);
      this.photos = []; // position -> { i, id, caption, w, h }
      this.pages = new Map(); // page number -> Promise of the page's photos
      this.loadedPages = new Set();
    }

    get hash() {
      return `#/l/${this.l}/a/${this.a}`;
    }

    /** Photos of page n; [] past the end. A short page means the album holds fewer photos than it said. */
    page(n) {
      const first = n * PAGE_SIZE;
      if (first >= this.size) return Promise.resolve([]);
      let pending = this.pages.get(n);
      if (!pending) {
        const count = Math.min(PAGE_SIZE, this.size - first);
        pending = api.pics(this.l, this.a, first, count).then((items) => {
          // The server starts again at photo 0 when asked past the end of the list.
          const wrapped = first > 0 && items.length > 0 && this.photos[0] && items[0].id === this.photos[0].id;
          const photos = (wrapped ? [] : items.slice(0, count)).map((p, k) => ({
            i: first + k,
            id: p.id,
            caption: typeof p.caption === 'string' ? p.caption : '',
            w: p.w > 0 ? p.w : 4,
            h: p.h > 0 ? p.h : 3,
          }));
          photos.forEach((p) => { this.photos[p.i] = p; });
          if (photos.length < count) this.size = first + photos.length;
          this.loadedPages.add(n);
          return photos;
        });
        pending.catch(() => this.pages.delete(n));
        this.pages.set(n, pending);
      }
      return pending;
    }

    photo(i) {
      if (this.photos[i]) return Promise.resolve(this.photos[i]);
      return this.page(Math.floor(i / PAGE_SIZE)).then(() => this.photos[i] || null);
    }

    cover() {
      return this.size > 0 ? this.photo(0) : Promise.resolve(null);
    }
  }

  const albumCache = new Map();
  function albumFor(lib, meta) {
    const key = `${lib.id}/${meta.id}`;
    let album = albumCache.get(key);
    if (!album) {
      album = new Album(lib, meta);
      albumCache.set(key, album);
    }
    return album;
  }

  // ------------------------------------------------------------------ DOM helpers

  /** Builds an element; attributes with null/false values are left out, children may be strings. */
  function h(tag, attrs, ...children) {
    const el = document.createElement(tag);
    for (const [name, value] of Object.entries(attrs || {})) {
      if (value == null || value === false) continue;
      if (name === 'class') el.className = value;
      else if (name === 'text') el.textContent = value;
      else if (name.startsWith('on')) el.addEventListener(name.slice(2), value);
      else el.setAttribute(name, value === true ? '' : value);
    }
    for (const child of children.flat()) {
      if (child != null && child !== false) el.append(child);
    }
    return el;
  }

  const ICONS = {
    close: '<path d="M6 6l12 12M18 6L6 18"/>',
    prev: '<path d="M15 5l-7 7 7 7"/>',
    next: '<path d="M9 5l7 7-7 7"/>',
    play: '<path d="M8 5.5v13l11-6.5z" fill="currentColor" stroke="none"/>',
    pause: '<path d="M8 5v14M16 5v14" stroke-width="3"/>',
    info: '<circle cx="12" cy="12" r="9"/><path d="M12 11v6M12 7.5v.5"/>',
    download: '<path d="M12 4v11M7 10l5 5 5-5M5 20h14"/>',
    expand: '<path d="M4 9V4h5M20 9V4h-5M4 15v5h5M20 15v5h-5"/>',
    shrink: '<path d="M9 4v5H4M15 4v5h5M9 20v-5H4M15 20v-5h5"/>',
    empty: '<rect x="3" y="5" width="18" height="14" rx="2"/><path d="M3 16l5-5 4 4 3-3 6 6"/><circle cx="16" cy="9" r="1.5"/>',
  };
  function icon(name) {
    return `<svg viewBox="0 0 24 24" width="24" height="24" aria-hidden="true" focusable="false" fill="none" stroke="currentColor" stroke-width="1.8" stroke-linecap="round" stroke-linejoin="round">${ICONS[name]}</svg>`;
  }

  const plural = (n, one, many) => `${numberFormat.format(n)} ${n === 1 ? one : many}`;
  const photoCount = (n) => (n === 0 ? 'No photos' : plural(n, 'photo', 'photos'));

  const main = document.getElementById('main');
  const crumbs = document.getElementById('crumbs');
  const siteTitle = document.getElementById('site-title');
  let siteName = '';

  // The title names the view, then the photo while the viewer is open; the site name ends it.
  let viewTitle = [];
  let photoTitle = '';
  function showTitle() {
    document.title = [photoTitle, ...viewTitle, siteName || 'Photos'].filter(Boolean).join(' \u2014 ');
  }
  function setTitle(...parts) {
    viewTitle = parts.filter(Boolean);
    showTitle();
  }
  function setPhotoTitle(text) {
    photoTitle = text;
    showTitle();
  }

  function setCrumbs(items) {
    crumbs.replaceChildren(
      ...items.map((item, k) =>
        h('li', null, k === items.length - 1
          ? h('span', { 'aria-current': 'page', text: item.label })
          : h('a', { href: item.href, text: item.label })))
    );
  }

  // ------------------------------------------------------------------ album cards

  const coverWatch = new IntersectionObserver((entries) => {
    for (const entry of entries) {
      if (!entry.isIntersecting) continue;
      coverWatch.unobserve(entry.target);
      showCover(entry.target);
    }
  }, { rootMargin: '400px 0px' });

  function showCover(box) {
    const album = box._album;
    const empty = () => {
      box.classList.add('is-empty');
      box.innerHTML = icon('empty');
    };
    album.cover().then((photo) => {
      if (!photo) {
        empty();
        return;
      }
      const img = h('img', { alt: '', decoding: 'async', 'data-thumb': `${album.l},${album.a},${photo.id}`, 'data-ratio': photo.w / photo.h });
      revealOnLoad(img);
      box.append(img);
      sizeThumbs([img]);
    }, empty);
  }

  /** Fades an image in once it has loaded (at once when the browser has it already). */
  function revealOnLoad(img) {
    if (img.complete && img.naturalWidth) {
      img.classList.add('is-loaded');
      return;
    }
    img.addEventListener('load', () => img.classList.add('is-loaded'), { once: true });
    img.addEventListener('error', () => img.classList.add('is-broken'), { once: true });
  }

  function albumCard(album) {
    const cover = h('div', { class: 'card__cover' });
    cover._album = album;
    coverWatch.observe(cover);
    const meta = album.meta;
    return h('li', { class: 'card' },
      h('a', { class: 'card__link', href: album.hash },
        cover,
        h('div', { class: 'card__body' },
          h('h3', { class: 'card__title', text: meta.name || 'Untitled album' }),
          meta.comment ? h('p', { class: 'card__comment', text: meta.comment }) : null,
          h('p', { class: 'card__meta', text: photoCount(album.size) }))));
  }

  function albumCards(lib, albums) {
    if (!albums.length) return h('p', { class: 'notice', text: 'No albums are published in this library.' });
    return h('ul', { class: 'cards', role: 'list' }, albums.map((meta) => albumCard(albumFor(lib, meta))));
  }

  // ------------------------------------------------------------------ views

  function pageHead(title, ...extra) {
    return h('div', { class: 'page-head' }, h('h1', { class: 'page-title', tabindex: '-1', text: title }), ...extra);
  }

  async function renderHome() {
    const libs = await api.libs();
    const albumLists = await Promise.all(libs.map((lib) => api.albums(lib.id).catch(() => null)));
    return () => {
      setCrumbs([]);
      setTitle();
      const head = pageHead(siteName || 'Photos');
      if (!libs.length) return [head, h('p', { class: 'notice', text: 'Nothing is published here yet.' })];
      return [head, ...libs.map((lib, k) => {
        const albums = albumLists[k];
        const headingId = `lib-${lib.id}`;
        return h('section', { class: 'library', 'aria-labelledby': headingId },
          h('div', { class: 'section-head' },
            h('h2', { id: headingId, class: 'section-title' },
              h('a', { href: `#/l/${lib.id}`, 'data-lib': lib.id, text: lib.name || 'Library' })),
            albums ? h('p', { class: 'section-meta', text: plural(albums.length, 'album', 'albums') }) : null),
          albums ? albumCards(lib, albums) : h('p', { class: 'notice', text: 'The albums of this library could not be loaded.' }));
      })];
    };
  }

  async function findLib(l) {
    const lib = (await api.libs()).find((x) => x.id === l);
    if (!lib) throw new NotFound('This library is not published.');
    return lib;
  }

  async function renderLibrary(l) {
    const lib = await findLib(l);
    const albums = await api.albums(l);
    return () => {
      setCrumbs([{ label: lib.name }]);
      setTitle(lib.name);
      return [pageHead(lib.name || 'Library', h('p', { class: 'page-meta', text: plural(albums.length, 'album', 'albums') })),
        albumCards(lib, albums)];
    };
  }

  async function renderAlbum(l, a) {
    const lib = await findLib(l);
    const meta = (await api.albums(l)).find((x) => x.id === a);
    if (!meta) throw new NotFound('This album is not published.');
    const album = albumFor(lib, meta);
    await album.page(0);
    return () => {
      setCrumbs([{ label: lib.name, href: `#/l/${l}` }, { label: meta.name }]);
      setTitle(meta.name, lib.name);
      const list = h('ul', { class: 'grid', role: 'list', 'aria-label': 'Photos' });
      const status = h('p', { class: 'grid-status', role: 'status' });
      const sentinel = h('div', { class: 'grid-sentinel', 'aria-hidden': 'true' });
      const grid = new Grid(album, list, sentinel, status);
      currentGrid = grid;
      // The server refuses the whole album where it refuses the originals.
      const zip = lib.fullSizeDownload === true && album.size > 0
        ? h('a', { class: 'pill-btn', id: 'album-download', href: albumZipURL(l, a), download: '' }, 'Download album')
        : null;
      if (zip) zip.insertAdjacentHTML('afterbegin', icon('download'));
      const head = pageHead(meta.name || 'Album',
        meta.comment ? h('p', { class: 'page-lead', text: meta.comment }) : null,
        h('p', { class: 'page-meta' }, photoCount(album.size), zip ? ' ' : null, zip));
      if (!album.size) return [head, h('p', { class: 'notice', text: 'This album has no photos yet.' })];
      grid.start();
      return [head, list, sentinel, status];
    };
  }

  class NotFound extends Error {}

  // ------------------------------------------------------------------ photo grid

  let currentGrid = null;

  /**
   * The thumbnails of one album, appended a page at a time as the end of the list nears the
   * viewport. Each box takes its shape from the thumbnail's size in getpics before the picture
   * arrives, so nothing moves when it loads.
   */
  class Grid {
    constructor(album, list, sentinel, status) {
      this.album = album;
      this.list = list;
      this.sentinel = sentinel;
      this.status = status;
      this.shown = 0;
      this.queue = Promise.resolve();
      this.watch = new IntersectionObserver((entries) => {
        if (entries.some((e) => e.isIntersecting)) this.more();
      }, { rootMargin: '0px 0px 1200px 0px' });
    }

    start() {
      // Pages already fetched (a return visit) go in at once, so the old scroll position exists.
      for (let n = 0; this.album.loadedPages.has(n) && this.shown < this.album.size; n++) {
        this.append(this.album.photos.slice(n * PAGE_SIZE, (n + 1) * PAGE_SIZE).filter(Boolean));
      }
      this.watch.observe(this.sentinel);
    }

    stop() {
      this.watch.disconnect();
    }

    get complete() {
      return this.shown >= this.album.size;
    }

    /** Queues the next page; resolves when it is in the list. */
    more() {
      this.queue = this.queue.then(async () => {
        if (this.complete) return;
        this.status.textContent = 'Loading more photos\u2026';
        try {
          const photos = await this.album.page(Math.floor(this.shown / PAGE_SIZE));
          this.append(photos.filter((p) => p.i >= this.shown));
          this.status.textContent = '';
        } catch (err) {
          this.status.replaceChildren('Some photos could not be loaded. ',
            h('button', { type: 'button', class: 'text-btn', onclick: () => this.more(), text: 'Try again' }));
          return;
        }
        // Still near the end after this page? Observing again reports the current state.
        if (!this.complete) {
          this.watch.unobserve(this.sentinel);
          this.watch.observe(this.sentinel);
        }
      });
      return this.queue;
    }

    append(photos) {
      const { l, a } = this.album;
      const imgs = [];
      const items = photos.map((p) => {
        const ratio = p.w / p.h;
        const img = h('img', {
          alt: p.caption || `Photo ${p.i + 1}`, width: p.w, height: p.h, loading: 'lazy', decoding: 'async',
          'data-thumb': `${l},${a},${p.id}`, 'data-ratio': ratio,
        });
        imgs.push(img);
        revealOnLoad(img);
        const link = h('a', { class: 'thumb__link', href: `${this.album.hash}/p/${p.i}`, 'data-i': p.i }, img);
        // Films are known from the photo's details, asked once its thumbnail is in.
        img.addEventListener('load', () => {
          infoSoon(l, a, p.i).then((info) => {
            if (kindOf(info) === 'film') link.append(h('span', { class: 'thumb__play' }, h('span', { class: 'visually-hidden', text: 'Film' })));
          }, () => {});
        }, { once: true });
        return h('li', { class: 'thumb', style: `--r:${ratio.toFixed(4)};flex-grow:${(ratio * 100).toFixed(2)}` }, link);
      });
      this.list.append(...items);
      requestAnimationFrame(() => sizeThumbs(imgs)); // laid out by then, so each box has its size
      this.shown += photos.length;
      if (this.complete) this.watch.disconnect();
    }

    /** Resolves with the link of photo i, loading pages until it is in the list (null if never). */
    async link(i) {
      while (this.shown <= i && !this.complete) {
        const before = this.shown;
        await this.more();
        if (this.shown === before) break;
      }
      return this.list.querySelector(`a[data-i="${i}"]`);
    }
  }

  // ------------------------------------------------------------------ viewer

  const viewer = (() => {
    const el = document.getElementById('viewer');
    const stage = document.getElementById('v-stage');
    const placeholder = document.getElementById('v-placeholder');
    const spinner = document.getElementById('v-spinner');
    const errorNote = document.getElementById('v-error');
    const counter = document.getElementById('v-counter');
    const caption = document.getElementById('v-caption');
    const live = document.getElementById('v-live');
    const title = document.getElementById('v-title');
    const comment = document.getElementById('v-comment');
    const facts = document.getElementById('v-facts');
    const btn = {
      close: document.getElementById('v-close'),
      prev: document.getElementById('v-prev'),
      next: document.getElementById('v-next'),
      play: document.getElementById('v-play'),
      info: document.getElementById('v-info-btn'),
      download: document.getElementById('v-download'),
      full: document.getElementById('v-full'),
    };
    btn.full.innerHTML = icon('expand');
    btn.close.innerHTML = icon('close');
    btn.prev.innerHTML = icon('prev');
    btn.next.innerHTML = icon('next');
    btn.play.innerHTML = icon('play');
    btn.info.innerHTML = icon('info');
    btn.download.innerHTML = icon('download');

    const state = {
      open: false, closing: false, album: null, index: 0, token: 0, box: null,
      playing: false, timer: 0, spinnerTimer: 0, current: null, loading: null, preloads: new Map(),
    };

    /** The details panel opens as the person last left it, else only where there is room. */
    function infoWanted() {
      let saved = null;
      try { saved = localStorage.getItem(INFO_KEY); } catch (e) { /* storage refused */ }
      return saved == null ? wideScreen.matches : saved === '1';
    }

    function setInfo(open, remember) {
      el.classList.toggle('show-info', open);
      btn.info.setAttribute('aria-expanded', String(open));
      if (remember) {
        try { localStorage.setItem(INFO_KEY, open ? '1' : '0'); } catch (e) { /* storage refused */ }
      }
    }

    function setPlaying(on) {
      state.playing = on;
      btn.play.setAttribute('aria-pressed', String(on));
      btn.play.innerHTML = icon(on ? 'pause' : 'play');
      clearTimeout(state.timer);
      if (on && state.current) schedule();
      updateButtons();
    }

    function schedule() {
      clearTimeout(state.timer);
      // A film that plays moves the slideshow on when it ends.
      const film = state.current && state.current.tagName === 'VIDEO' ? state.current : null;
      state.timer = setTimeout(() => {
        if (film && !film.paused && !film.ended) return;
        step(1, true);
      }, SLIDE_MS);
    }

    function updateButtons() {
      const last = state.album ? state.album.size - 1 : 0;
      btn.prev.disabled = !state.playing && state.index <= 0;
      btn.next.disabled = !state.playing && state.index >= last;
    }

    function show(album, index) {
      const wanted = index;
      index = Math.max(0, Math.min(index, album.size - 1));
      if (index !== wanted) history.replaceState(history.state, '', `${album.hash}/p/${index}`);
      const changedAlbum = state.album !== album;
      state.closing = false;
      state.album = album;
      state.index = index;
      const token = ++state.token;
      if (!state.open) open();
      if (changedAlbum) state.preloads.clear();

      counter.textContent = `${numberFormat.format(index + 1)} / ${numberFormat.format(album.size)}`;
      updateButtons();
      errorNote.hidden = true;

      const download = album.lib.fullSizeDownload === true;
      btn.download.hidden = !download;
      if (download) {
        btn.download.href = imageURL(album.l, album.a, index);
        btn.download.setAttribute('download', '');
      }

      album.photo(index).then((photo) => {
        if (token !== state.token || !photo) return;
        const text = photo.caption || `Photo ${index + 1}`;
        caption.textContent = photo.caption;
        title.textContent = text;
        live.textContent = `Photo ${index + 1} of ${album.size}: ${text}`;
        setPhotoTitle(text);
        if (!state.current || state.current.dataset.i !== String(index)) {
          placeholder.src = thumbURL(album.l, album.a, photo.id);
          placeholder.classList.add('is-visible');
        }
        if (state.current) state.current.alt = text;
      }, () => {});

      comment.hidden = true;
      facts.replaceChildren();
      api.info(album.l, album.a, index).then((info) => {
        if (token === state.token && info) showInfo(info, index);
      }, () => {
        if (token === state.token) facts.replaceChildren(h('p', { class: 'facts__none', text: 'Details could not be loaded.' }));
      });

      loadPicture(token);
    }

    /** Where the viewer gets what it shows of the photo at position i: see kindOf. */
    function sourceOf(album, i, kind, box) {
      if (kind === 'film') return imageURL(album.l, album.a, i);
      if (kind === 'picture') return imageURL(album.l, album.a, i, box);
      const photo = album.photos[i];
      return photo ? thumbURL(album.l, album.a, photo.id, thumbSize(box.w / dpr(), box.h / dpr(), photo.w / photo.h)) : '';
    }

    /**
     * Loads the picture at the current position and swaps it in once it is decoded. A picture
     * still on its way for an earlier position is dropped; while the arrow key is held, the
     * request waits a moment so that the server shrinks only the pictures someone stops at.
     * What is asked for depends on the photo's kind, so its details come first; a picture that
     * does not load falls back to its thumbnail.
     */
    async function loadPicture(token) {
      const { album, index } = state;
      const box = fitBox();
      state.box = box;
      const info = await api.info(album.l, album.a, index).catch(() => null);
      await album.photo(index).catch(() => null);
      if (token !== state.token) return;
      const kind = kindOf(info);
      if (kind === 'film') return showFilm(album, index, box, info);
      let url = sourceOf(album, index, kind, box);
      const hurried = state.loading != null && !state.preloads.has(index);
      if (state.loading) state.loading.removeAttribute('src');
      const img = new Image();
      state.loading = img;
      img.className = 'viewer__img';
      img.decoding = 'async';
      img.alt = (album.photos[index] && album.photos[index].caption) || `Photo ${index + 1}`;
      img.draggable = false;
      clearTimeout(state.spinnerTimer);
      state.spinnerTimer = setTimeout(() => spinner.classList.add('is-visible'), SPINNER_DELAY_MS);

      const done = (ok) => {
        if (token !== state.token) return;
        state.loading = null;
        clearTimeout(state.spinnerTimer);
        spinner.classList.remove('is-visible');
        if (ok) {
          swapIn(img, index);
          preloadAround(index, box);
        } else {
          if (state.current) state.current.remove();
          state.current = null;
          errorNote.hidden = false;
        }
        if (state.playing) schedule();
      };
      const fallback = sourceOf(album, index, 'thumbnail', box);
      const attempt = () => {
        img.src = url;
        img.decode()
          .catch(() => {
            if (!img.complete || !img.naturalWidth) throw new Error('no picture');
          })
          .then(() => done(true), () => {
            if (token !== state.token) return;
            if (url === fallback || !fallback) return done(false);
            url = fallback;
            attempt();
          });
      };
      setTimeout(() => {
        if (token === state.token) attempt();
      }, hurried ? 150 : 0);
    }

    /**
     * A film plays in the page from its own file, which the server sends in byte ranges. One this
     * browser says it cannot play (a phone's HEVC film on most desktops) is shown by its poster,
     * with a line saying so and a button that downloads it.
     */
    function showFilm(album, index, box, info) {
      if (state.loading) state.loading.removeAttribute('src');
      state.loading = null;
      clearTimeout(state.spinnerTimer);
      spinner.classList.remove('is-visible');
      const film = info && info.film;
      if (film && film.type && document.createElement('video').canPlayType(film.type) === '') {
        const caption = (album.photos[index] && album.photos[index].caption) || `Film ${index + 1}`;
        const still = h('img', { class: 'unplayable__poster', alt: caption, draggable: false });
        still.src = imageURL(album.l, album.a, index, box);
        const save = h('a', { class: 'pill-btn', href: imageURL(album.l, album.a, index), download: info.fileName || '' }, 'Download film');
        save.insertAdjacentHTML('afterbegin', icon('download'));
        const note = h('div', { class: 'viewer__img viewer__unplayable' },
          still, h('p', { class: 'unplayable__text', text: 'This browser cannot play this film.' }), save);
        swapIn(note, index);
        if (state.playing) schedule();
        preloadAround(index, box);
        return;
      }
      const video = h('video', {
        class: 'viewer__img viewer__film', controls: true, playsinline: true, preload: 'metadata',
        src: imageURL(album.l, album.a, index),
        poster: sourceOf(album, index, 'thumbnail', box) || null,
      });
      video.addEventListener('ended', () => { if (state.playing && state.current === video) step(1, true); });
      swapIn(video, index);
      if (state.playing) {
        video.muted = true;
        video.play().catch(() => schedule());
      }
      preloadAround(index, box);
    }

    function swapIn(img, index) {
      const old = state.current;
      img.dataset.i = String(index);
      stage.append(img);
      // Next frame, so the fade starts from transparent.
      requestAnimationFrame(() => img.classList.add('is-current'));
      state.current = img;
      placeholder.classList.remove('is-visible');
      if (old) {
        if (old.tagName === 'VIDEO') old.pause();
        old.classList.remove('is-current');
        old.classList.add('is-leaving');
        setTimeout(() => old.remove(), reducedMotion.matches ? 0 : 400);
      }
    }

    /** Starts fetching the neighbours, so arrow keys and swipes show them at once. */
    function preloadAround(index, box) {
      const { album } = state;
      const wanted = [index + 1, index - 1].filter((i) => i >= 0 && i < album.size);
      for (const key of state.preloads.keys()) {
        if (!wanted.includes(key)) state.preloads.delete(key);
      }
      for (const i of wanted) {
        if (state.preloads.has(i)) continue;
        const img = new Image();
        img.decoding = 'async';
        state.preloads.set(i, img);
        Promise.all([api.info(album.l, album.a, i), album.photo(i)]).then(([info]) => {
          const kind = kindOf(info);
          if (kind !== 'film' && state.preloads.get(i) === img) img.src = sourceOf(album, i, kind, box);
        }, () => {});
      }
    }

    function showInfo(info, index) {
      const text = info.caption || (state.album.photos[index] && state.album.photos[index].caption) || info.fileName || `Photo ${index + 1}`;
      title.textContent = text;
      if (!caption.textContent) caption.textContent = info.caption || '';
      comment.textContent = info.comment || '';
      comment.hidden = !info.comment;
      if (btn.download.hasAttribute('href') && info.fileName) btn.download.setAttribute('download', info.fileName);
      if (info.mediaType === 'Movie') btn.download.setAttribute('aria-label', 'Download film');
      else btn.download.setAttribute('aria-label', 'Download original');
      facts.replaceChildren(...factRows(info));
    }

    function open() {
      state.open = true;
      el.hidden = false;
      document.documentElement.classList.add('viewer-open');
      for (const node of document.querySelectorAll('body > :not(#viewer)')) node.inert = true;
      setInfo(infoWanted(), false);
      // Focus the dialog itself: arrow keys work at once and the label is announced.
      el.focus({ preventScroll: true });
      document.addEventListener('keydown', onKey);
    }

    /** Hides the viewer and hands focus back to the thumbnail of the photo last shown. */
    function hide() {
      if (!state.open) return;
      state.open = false;
      state.closing = false;
      state.token++;
      setPlaying(false);
      clearTimeout(state.spinnerTimer);
      document.removeEventListener('keydown', onKey);
      setPhotoTitle('');
      el.hidden = true;
      document.documentElement.classList.remove('viewer-open');
      for (const node of document.querySelectorAll('body > :not(#viewer)')) node.inert = false;
      if (state.current) state.current.remove(); // a film stops with it
      state.current = null;
      if (state.loading) state.loading.removeAttribute('src');
      state.loading = null;
      if (document.fullscreenElement) document.exitFullscreen().catch(() => {});
      placeholder.classList.remove('is-visible');
      placeholder.removeAttribute('src');
      spinner.classList.remove('is-visible');
      state.preloads.clear();
      const index = state.index;
      const grid = currentGrid;
      if (grid && grid.album === state.album) {
        grid.link(index).then((link) => {
          if (!link || state.open) return;
          link.focus({ preventScroll: true });
          link.scrollIntoView({ block: 'nearest', behavior: 'auto' });
        });
      }
    }

    /** Moves by delta; a slideshow wraps around at the ends, the arrow keys do not. */
    function step(delta, wrap) {
      if (!state.open || !state.album) return;
      const size = state.album.size;
      let next = state.index + delta;
      if (wrap || state.playing) next = (next + size) % size;
      if (next < 0 || next >= size || next === state.index) return;
      history.replaceState(history.state, '', `${state.album.hash}/p/${next}`);
      show(state.album, next);
    }

    function close() {
      // Going back is asynchronous: a second Escape before it lands must not go back again.
      if (state.closing) return;
      state.closing = true;
      if (history.state && history.state.viewer) history.back();
      else {
        history.replaceState(null, '', state.album.hash);
        route();
      }
    }

    function onKey(e) {
      if (e.defaultPrevented || e.altKey || e.ctrlKey || e.metaKey) return;
      if (e.target.closest && e.target.closest('input, textarea, select, [contenteditable]')) return;
      switch (e.key) {
        case 'ArrowRight': step(1); break;
        case 'ArrowLeft': step(-1); break;
        case 'Home': step(-state.index); break;
        case 'End': step(state.album.size - 1 - state.index); break;
        case 'Escape': close(); break;
        case 'i': case 'I': setInfo(!el.classList.contains('show-info'), true); break;
        case ' ': // whatever has focus: a focused button is not pressed by it
          setPlaying(!state.playing);
          break;
        case 'f': case 'F': toggleFullscreen(); break;
        default: return;
      }
      e.preventDefault();
    }

    btn.close.addEventListener('click', close);
    btn.prev.addEventListener('click', () => step(-1));
    btn.next.addEventListener('click', () => step(1));
    btn.play.addEventListener('click', () => setPlaying(!state.playing));
    btn.info.addEventListener('click', () => setInfo(!el.classList.contains('show-info'), true));

    // Full screen shows the viewer alone, for a slideshow on a big screen.
    btn.full.hidden = !document.fullscreenEnabled;
    function toggleFullscreen() {
      if (!document.fullscreenEnabled) return;
      if (document.fullscreenElement) document.exitFullscreen().catch(() => {});
      else el.requestFullscreen().catch(() => {});
    }
    btn.full.addEventListener('click', toggleFullscreen);
    document.addEventListener('fullscreenchange', () => {
      const on = document.fullscreenElement === el;
      btn.full.setAttribute('aria-pressed', String(on));
      btn.full.innerHTML = icon(on ? 'shrink' : 'expand');
    });

    // Touch: swipe sideways to move, swipe down to close, tap to hide or show the controls.
    let drag = null;
    stage.addEventListener('pointerdown', (e) => {
      if (e.pointerType === 'mouse' || !e.isPrimary) return;
      drag = { id: e.pointerId, x: e.clientX, y: e.clientY, t: performance.now(), dx: 0, dy: 0 };
    });
    stage.addEventListener('pointermove', (e) => {
      if (!drag || e.pointerId !== drag.id) return;
      drag.dx = e.clientX - drag.x;
      drag.dy = e.clientY - drag.y;
      if (state.current && !reducedMotion.matches && Math.abs(drag.dx) > Math.abs(drag.dy)) {
        state.current.style.transition = 'none';
        state.current.style.transform = `translateX(${drag.dx}px)`;
      }
    });
    const endDrag = (e, cancelled) => {
      if (!drag || e.pointerId !== drag.id) return;
      const { dx, dy, t } = drag;
      drag = null;
      if (state.current) {
        state.current.style.transition = '';
        state.current.style.transform = '';
      }
      if (cancelled) return;
      const ax = Math.abs(dx), ay = Math.abs(dy);
      if (ax > 50 && ax > ay * 1.2) step(dx < 0 ? 1 : -1);
      else if (dy > 90 && ay > ax * 1.2) close();
      else if (ax < 10 && ay < 10 && performance.now() - t < 400) el.classList.toggle('is-bare');
    };
    stage.addEventListener('pointerup', (e) => endDrag(e, false));
    stage.addEventListener('pointercancel', (e) => endDrag(e, true));

    // A larger window deserves a larger picture; a smaller one can keep the one it has.
    let resizeTimer = 0;
    window.addEventListener('resize', () => {
      clearTimeout(resizeTimer);
      resizeTimer = setTimeout(() => {
        if (!state.open || !state.box) return;
        const box = fitBox();
        if (box.w > state.box.w * 1.15 || box.h > state.box.h * 1.15) {
          state.preloads.clear();
          loadPicture(state.token);
        }
      }, 250);
    });

    return {
      show,
      hide,
      get open() { return state.open; },
    };
  })();

  // Dates in the browser's language and time zone.
  const dateFormat = new Intl.DateTimeFormat(undefined, { dateStyle: 'medium', timeStyle: 'short' });

  /**
   * A shutter time as photographers write it: "1/250 s" below a second (0.004 or "1/250"),
   * "2 s" or "2.5 s" from a second on; '' for anything that is not a positive time.
   */
  function shutterText(text) {
    const m = /^\s*(\d+(?:\.\d+)?)(?:\s*\/\s*(\d+(?:\.\d+)?))?\s*$/.exec(text || '');
    const seconds = m ? Number(m[1]) / (m[2] == null ? 1 : Number(m[2])) : NaN;
    if (!(seconds > 0) || !Number.isFinite(seconds)) return '';
    if (seconds < 1) return `1/${Math.round(1 / seconds)}\u00a0s`;
    return `${Math.round(seconds * 10) / 10}\u00a0s`;
  }

  /** The rows of the details list: only what the photo has (empty strings mean absent). */
  function factRows(info) {
    const exif = info.exif || {};
    const str = (v) => (typeof v === 'string' ? v.trim() : '');
    const rows = [];
    const row = (label, ...value) => rows.push(h('div', { class: 'facts__row' }, h('dt', { text: label }), h('dd', null, ...value)));
    const dateValue = (d) => {
      if (!d || !str(d.string)) return null;
      const ms = Number(d.value);
      if (!Number.isFinite(ms) || Math.abs(ms) >= 8.64e15) return h('time', { text: str(d.string) });
      const when = new Date(ms);
      return h('time', { datetime: when.toISOString(), text: dateFormat.format(when) });
    };

    const taken = dateValue(info.captureDate);
    if (taken) row('Taken', taken);
    const make = str(exif.cameraMake), model = str(exif.cameraModel);
    if (model) row('Camera', model);
    if (make) row('Make', make);
    const shutter = shutterText(str(exif.shutter)), aperture = str(exif.aperture), iso = str(exif.iso), focal = str(exif.focalLength);
    const exposure = [
      shutter,
      aperture && `\u0192/${aperture}`,
      iso && `ISO\u00a0${iso}`,
      focal && `${focal}\u00a0mm`,
    ].filter(Boolean);
    if (exposure.length) row('Exposure', exposure.join('\u00a0\u00b7 '));
    // The camera's own date is the same moment in the server's words: only shown in its stead.
    const cameraDate = str(exif.captureDate);
    if (cameraDate && !taken) row('Taken', cameraDate);
    // A film's size would be its still's, not its own.
    if (info.w > 0 && info.h > 0 && info.mediaType !== 'Movie') row('Size', `${numberFormat.format(info.w)} \u00d7 ${numberFormat.format(info.h)} pixels`);
    if (info.mediaType === 'Movie') row('Kind', 'Film');
    else if (kindOf(info) === 'thumbnail') row('Kind', 'Shown by its thumbnail: browsers cannot show this file');
    if (str(info.fileName)) row('File', str(info.fileName));
    const modified = dateValue(info.modifiedDate);
    if (modified) row('Modified', modified);
    return rows;
  }

  // ------------------------------------------------------------------ routing

  /** #/, #/l/L, #/l/L/a/A and #/l/L/a/A/p/I; anything else is the start page. */
  function parseRoute(hash) {
    const m = /^#\/?(?:l\/(\d+)(?:\/a\/(\d+)(?:\/p\/(\d+))?)?)?\/?$/.exec(hash || '');
    if (!m || m[1] == null) return { key: 'home' };
    const l = +m[1];
    if (m[2] == null) return { key: `lib:${l}`, l };
    const a = +m[2];
    return { key: `album:${l}:${a}`, l, a, p: m[3] == null ? null : +m[3] };
  }

  let shownKey = null;
  let shownAlbum = null;
  let routeToken = 0;
  let followedLink = false;
  const scrollSpots = new Map(); // view -> scroll position when it was left
  const leftBy = new Map(); // view -> address of the link it was left by

  async function route() {
    const r = parseRoute(location.hash);
    const token = ++routeToken;
    const viaLink = followedLink;
    followedLink = false;
    if (r.p == null && viewer.open) viewer.hide();

    if (r.key !== shownKey) {
      if (shownKey) scrollSpots.set(shownKey, window.scrollY);
      const returning = !viaLink && scrollSpots.has(r.key);
      const firstView = shownKey == null;
      main.setAttribute('aria-busy', 'true');
      const slow = setTimeout(() => {
        if (token === routeToken) main.replaceChildren(h('div', { class: 'loading', role: 'status', text: 'Loading\u2026' }));
      }, 200);
      let build;
      try {
        build = r.key === 'home' ? await renderHome()
          : r.a == null ? await renderLibrary(r.l)
            : await renderAlbum(r.l, r.a);
      } catch (err) {
        build = () => errorView(err, r);
      }
      clearTimeout(slow);
      if (token !== routeToken) return;
      if (currentGrid) currentGrid.stop();
      currentGrid = null;
      main.replaceChildren(...build());
      main.removeAttribute('aria-busy');
      shownKey = r.key;
      shownAlbum = currentGrid ? currentGrid.album : null;
      window.scrollTo(0, returning ? scrollSpots.get(r.key) : 0);
      // Coming back puts focus on the link that led away; a new view puts it on its heading.
      if (!firstView && r.p == null) {
        const href = returning && leftBy.get(r.key);
        const target = (href && main.querySelector(`a[href="${CSS.escape(href)}"]`)) || main.querySelector('h1');
        if (target) target.focus({ preventScroll: true });
      }
    }

    if (r.p != null && shownAlbum && shownAlbum.size > 0 && token === routeToken) viewer.show(shownAlbum, r.p);
  }

  function errorView(err, r) {
    setTitle('Not available');
    const missing = err instanceof NotFound;
    return [
      pageHead(missing ? 'Not found' : 'Something went wrong'),
      h('p', { class: 'notice', text: missing ? err.message : `The gallery could not be loaded. ${err.message || ''}` }),
      h('p', null,
        missing ? null : h('button', { type: 'button', class: 'text-btn', text: 'Try again', onclick: () => { shownKey = null; route(); } }),
        missing ? null : ' ',
        r.key !== 'home' ? h('a', { href: '#/', text: 'Back to all albums' }) : null),
    ];
  }

  // A thumbnail opens the viewer as a new history entry, so Back closes it; moving inside the
  // viewer replaces that entry instead of piling one up per photo.
  document.addEventListener('click', (e) => {
    const link = e.target.closest && e.target.closest('a[href^="#/"]');
    if (!link || e.button !== 0 || e.metaKey || e.ctrlKey || e.shiftKey || e.altKey) return;
    // A link to the view already shown changes nothing and must not count for the next change.
    followedLink = link.getAttribute('href') !== location.hash;
    if (shownKey && main.contains(link)) leftBy.set(shownKey, link.getAttribute('href'));
    if (link.classList.contains('thumb__link')) {
      e.preventDefault();
      history.pushState({ viewer: true }, '', link.getAttribute('href'));
      route();
    }
  });

  document.querySelector('[data-skip]').addEventListener('click', (e) => {
    e.preventDefault();
    main.focus();
  });

  window.addEventListener('hashchange', route);
  if ('scrollRestoration' in history) history.scrollRestoration = 'manual';

  api.site().then((name) => {
    siteName = typeof name === 'string' ? name : '';
    siteTitle.textContent = siteName || 'Photos';
    if (shownKey === 'home') {
      const heading = main.querySelector('h1');
      if (heading) heading.textContent = siteName || 'Photos';
    }
    showTitle();
  }, () => { siteTitle.textContent = 'Photos'; });

  if (!location.hash || location.hash === '#') history.replaceState(null, '', '#/');
  route();
})();
