// What the main thread of a browser takes to open pages. usage: node page.mjs BROWSER PAGE...
// Prints a line of JSON for each page: seconds of tasks, layout and scripts, once it is loaded and was scrolled.
import { pathToFileURL } from 'node:url';
import { chromium } from 'playwright-core';

const [browserPath, ...pages] = process.argv.slice(2);
const flags = ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking'];

async function costOf(browser, file) {
    const page = await browser.newPage({ viewport: { width: 1280, height: 900 } });
    const session = await page.context().newCDPSession(page);
    await session.send('Performance.enable', { timeDomain: 'threadTicks' });
    const metrics = async () => Object.fromEntries((await session.send('Performance.getMetrics')).metrics
        .map(({ name, value }) => [name, value]));
    await page.goto(pathToFileURL(file).href, { waitUntil: 'load', timeout: 300000 });
    await page.evaluate(() => new Promise((done) => { requestAnimationFrame(() => setTimeout(done, 0)); }));
    const opened = await metrics();
    // Ten screens from place to place, as a reader looks for something.
    await page.evaluate(async () => {
        for (let i = 1; i <= 10; i += 1) {
            scrollTo(0, (document.scrollingElement.scrollHeight * i) / 10);
            await new Promise((done) => { requestAnimationFrame(() => setTimeout(done, 0)); });
        }
    });
    const scrolled = await metrics();
    const filtered = await page.evaluate(() => {
        const filter = document.getElementById('filter');
        if (filter === null) {
            return null;
        }
        const start = performance.now();
        filter.value = '00042';
        filter.dispatchEvent(new Event('input'));
        filter.value = '';
        filter.dispatchEvent(new Event('input'));
        document.querySelector('th.number button').click();
        document.body.getBoundingClientRect();
        return (performance.now() - start) / 1000;
    });
    await page.close();
    return { open: opened.TaskDuration, layout: opened.LayoutDuration + opened.RecalcStyleDuration,
        scroll: scrolled.TaskDuration - opened.TaskDuration, filterAndSort: filtered };
}

const browser = await chromium.launch({ executablePath: browserPath, args: flags, chromiumSandbox: false });
for (const file of pages) {
    let best = null;
    for (let run = 0; run < 3; run += 1) {
        const cost = await costOf(browser, file);
        best = best === null || cost.open < best.open ? cost : best;
    }
    console.log(JSON.stringify({ file, ...best }));
}
await browser.close();
