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
    for (const width of [360, 768, 1280]) {
        await page.setViewportSize({ width, height: 900 });
        const over = await page.evaluate(() => document.scrollingElement.scrollWidth - window.innerWidth);
        expect(over <= 0, `${name}: ${over} pixels wider than a window of ${width}`);
    }
}

async function checkExample(page, url) {
    await page.goto(`${url}#L4`);
    expect((await page.locator(':target').innerText()).includes('for k = window:101'), '#L4 is the fourth line');
    const copied = await page.evaluate(() => {
        getSelection().selectAllChildren(document.querySelector('pre.code'));
        return getSelection().toString();
    });
    expect(`${copied.trimEnd()}\n` === readFileSync(`${folder}/code.txt`, 'utf8'), `what is copied is the code: ${copied}`);
    expect(await page.evaluate(() => [...document.images].every((image) => image.naturalWidth === 600)),
        'the picture is shown');
    await page.goto(url);
    for (const [width, colorScheme] of [[1100, 'light'], [390, 'light'], [1100, 'dark']]) {
        await page.setViewportSize({ width, height: 900 });
        await page.emulateMedia({ colorScheme });
        await page.screenshot({ path: `${pictures}/example-${width}-${colorScheme}.png`, fullPage: true });
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
    }
    if (name === 'index.html') {
        await checkIndex(page);
        await page.screenshot({ path: `${pictures}/index.png` });
    }
}
await browser.close();
console.log(failures === 0 ? 'pages: fine' : `pages: ${failures} failures`);
process.exitCode = failures === 0 ? 0 : 1;
