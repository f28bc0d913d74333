// Opens pages in a browser. usage: node browser.mjs BROWSER FOLDER PICTURES
// FOLDER holds pages/, and control.html, in which the checks must find something.
import { readFileSync, readdirSync } from 'node:fs';
import { createRequire } from 'node:module';
import { pathToFileURL } from 'node:url';
import { chromium } from 'playwright-core';

const [browserPath, folder, pictures] = process.argv.slice(2);
const axe = readFileSync(createRequire(import.meta.url).resolve('axe-core/axe.min.js'), 'utf8');
const flags = ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
    '--disable-component-update', '--disable-sync'];
const schemes = ['http:', 'https:', 'mailto:', 'file:'];
let failures = 0;

function expect(holds, what) {
    if (!holds) {
        failures += 1;
        console.error(`FAILED: ${what}`);
    }
}

// What a page does by itself that it must not.
async function misdeeds(page, url) {
    const found = [];
    const note = (request) => {
        if (request.url() !== url && !request.url().startsWith('data:')) {
            found.push(`request of ${request.url()}`);
        }
    };
    page.on('request', note);
    await page.goto(url, { waitUntil: 'load' });
    await page.waitForTimeout(200);
    page.off('request', note);
    if (await page.evaluate(() => window.ran !== undefined)) {
        found.push('a script ran');
    }
    return found;
}

async function judge(page, name) {
    await page.evaluate(() => document.querySelectorAll('details').forEach((each) => { each.open = true; }));
    await page.evaluate(axe);
    for (const colorScheme of ['light', 'dark']) {
        await page.emulateMedia({ colorScheme });
        const { violations, passes } = await page.evaluate(() => globalThis.axe.run());
        expect(passes.length > 10, `${name}: axe-core looked at the page`);
        for (const { id, help, nodes } of violations) {
            expect(false, `${name}, ${colorScheme}: ${id}: ${help}: ${nodes[0].html.slice(0, 200)}`);
        }
    }
}

async function checkLooks(page, name) {
    const looks = await page.evaluate(() => ({
        styled: getComputedStyle(document.body).maxWidth !== 'none',
        links: [...document.querySelectorAll('body [href], [src]')].map((each) => each.href ?? each.src),
        elements: document.querySelectorAll('script, iframe, object, embed, link:not([rel=icon]), base, form').length,
    }));
    expect(looks.styled, `${name}: the policy lets the page have its style`);
    expect(looks.elements === (name === 'index.html' ? 1 : 0), `${name}: ${looks.elements} elements that no page has`);
    for (const link of looks.links) {
        expect(schemes.includes(new URL(link).protocol) || /^data:image\/[a-z+]+;base64,/.test(link),
            `${name}: leads to ${link.slice(0, 80)}`);
    }
    for (const width of [320, 360, 768, 1280]) {
        await page.setViewportSize({ width, height: 900 });
        const over = await page.evaluate(() => document.scrollingElement.scrollWidth - window.innerWidth);
        expect(over <= 0, `${name}: ${over} pixels wider than a window of ${width}`);
    }
    await page.emulateMedia({ media: 'print' });
    await page.setViewportSize({ width: 720, height: 900 });
    const cut = await page.evaluate(() => [...document.querySelectorAll('pre, .table')]
        .filter((each) => each.scrollWidth > each.clientWidth).length);
    expect(cut === 0, `${name}: ${cut} listings and tables are cut off on paper`);
    await page.emulateMedia({ media: 'screen' });
}

async function checkExample(page, url) {
    await page.goto(`${url}#L4`);
    expect((await page.locator(':target').innerText()).includes('for k = window:101'), '#L4 is the fourth line');
    const copied = await page.evaluate(() => [...document.querySelectorAll('pre.code')].map((listing) => {
        getSelection().selectAllChildren(listing);
        return `${getSelection().toString().trimEnd()}\n`;
    }).join(''));
    expect(copied === readFileSync(`${folder}/code.txt`, 'utf8'), `what is copied is the code: ${copied}`);
    expect(await page.evaluate(() => [...document.images].every((image) => image.naturalWidth === 600)),
        'the picture is shown');
    await page.goto(url);
    for (const [width, colorScheme] of [[1100, 'light'], [390, 'light'], [1100, 'dark']]) {
        await page.setViewportSize({ width, height: 900 });
        await page.emulateMedia({ colorScheme });
        await page.screenshot({ path: `${pictures}/example-${width}-${colorScheme}.png`, fullPage: true });
    }
}

async function checkPlaces(page, url) {
    await page.setViewportSize({ width: 1100, height: 900 });
    await page.goto(url);
    const at = (text) => page.locator(`td:has-text("${text}"), div.box:has-text("${text}"), span:has-text("${text}")`)
        .last().boundingBox();
    const [both, across, one, two, last] = await Promise.all(['both', 'across', 'one', 'two', 'last'].map(at));
    const near = (a, b) => Math.abs(a - b) < 2;
    expect(near(both.y + both.height, one.y + one.height) && near(across.x + across.width, two.x + two.width) &&
        near(last.x, two.x) && last.y > two.y, 'merged cells reach over their rows and columns');
    const [code, box] = await Promise.all([at('y = 2;'), at('A box beside the code')]);
    expect(box.y >= code.y + code.height, 'a box stands behind its line of code');
    await page.emulateMedia({ forcedColors: 'active' });
    const ground = await page.evaluate(() => {
        const { forcedColorAdjust, backgroundColor } = getComputedStyle(document.images[0]);
        return `${forcedColorAdjust} ${backgroundColor}`;
    });
    expect(ground === 'none rgb(255, 255, 255)', `forced colours: the ground of a picture is ${ground}`);
    await page.emulateMedia({ forcedColors: 'none', media: 'print' });
    await page.setViewportSize({ width: 600, height: 900 });
    const seen = await page.evaluate(() =>
        [...document.querySelectorAll('nav.pages, .skip')].filter((each) => each.checkVisibility()).length);
    expect(seen === 0, `print: ${seen} links to pages`);
    await page.emulateMedia({ media: 'screen' });
}

// What a browser decodes, and how far down the code is.
async function checkLargePictures(page, url) {
    await page.goto(url);
    const { pixels, top, links } = await page.evaluate(() => ({
        pixels: [...document.images].reduce((sum, each) => sum + each.naturalWidth * each.naturalHeight, 0),
        top: document.querySelector('pre.code').getBoundingClientRect().top,
        links: document.querySelectorAll('a[download]').length,
    }));
    expect(pixels > 1e6 && pixels <= 96 * 2 ** 20, `${pixels} pixels of pictures on a page`);
    expect(top < 8000, `the code begins ${top} pixels down`);
    expect(links >= 3, `${links} pictures can be saved that are too large`);
}

// What was removed stands beside what was added where there is room, else above it.
async function checkChanges(page, url) {
    for (const [width, isBeside] of [[1280, true], [360, false]]) {
        await page.setViewportSize({ width, height: 900 });
        await page.goto(url);
        const [removed, added] = await Promise.all(['removed', 'added'].map((each) =>
            page.locator(`.changes td.${each}:not(.place)`).first().boundingBox()));
        const places = await page.locator('.changes td.place').first().boundingBox();
        expect(isBeside ? added.x >= removed.x + removed.width && places.width < 120 : added.y >= removed.y + removed.height,
            `changes at ${width}: ${JSON.stringify([removed, added, places])}`);
        await page.screenshot({ path: `${pictures}/changes-${width}.png`, fullPage: true });
    }
}

async function checkIndex(page) {
    const titles = () => page.evaluate(() => [...document.querySelectorAll('.index .title a')]
        .filter((each) => each.checkVisibility()).map((each) => each.textContent));
    const all = (await titles()).length;
    await page.fill('#filter', 'running MEAN');
    expect((await titles()).join() === 'Running mean', 'the filter leaves what it names');
    await page.fill('#filter', '');
    await page.getByRole('button', { name: 'Lines' }).click();
    await page.getByRole('button', { name: 'Lines' }).click();
    expect((await titles())[0] === 'Running mean' && (await titles()).length === all, 'the most lines come first');
}

const browser = await chromium.launch({ executablePath: browserPath, args: flags, chromiumSandbox: false });
const page = await (await browser.newContext()).newPage();
const urlOf = (name) => pathToFileURL(`${folder}/${name}`).href;
const control = await misdeeds(page, urlOf('control.html'));
expect(control.some((each) => each.includes('request')) && control.some((each) => each.includes('script')),
    `the checks find what is there: ${control}`);
for (const name of readdirSync(`${folder}/pages`)) {
    const found = await misdeeds(page, urlOf(`pages/${name}`));
    expect(found.length === 0, `${name}: ${found}`);
    await checkLooks(page, name);
    await judge(page, name);
    if (name.startsWith('example-')) {
        await checkExample(page, urlOf(`pages/${name}`));
        await checkPlaces(page, urlOf(`pages/${name}`));
    }
    if (name.startsWith('large-')) {
        await checkLargePictures(page, urlOf(`pages/${name}`));
    }
    if (name === 'changes.html') {
        await checkChanges(page, urlOf(`pages/${name}`));
    }
    if (name === 'index.html') {
        await checkIndex(page);
        await page.screenshot({ path: `${pictures}/index.png` });
    }
}
await browser.close();
console.log(failures === 0 ? 'pages: fine' : `pages: ${failures} failures`);
process.exitCode = failures === 0 ? 0 : 1;
