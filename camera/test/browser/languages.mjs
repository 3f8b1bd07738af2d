// Another table of texts is another language: all that the page says comes from there.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { base, openAnother, wait } from './harness.mjs';

// Each text in brackets.
async function replaceTexts(request) {
    if (!request.url().endsWith('/texts.js')) return request.continue();
    const source = await (await fetch(`${base}/texts.js`)).text();
    const body = source.replace(
        'const tables = { en };',
        `const bracket = (entry) => typeof entry === 'string' ? '[' + entry + ']'
             : Object.fromEntries(Object.entries(entry).map(([form, text]) => [form, '[' + text + ']']));
         const tables = { en: Object.fromEntries(Object.entries(en).map(([key, entry]) => [key, bracket(entry)])) };`,
    );
    assert.notEqual(body, source);
    await request.respond({ contentType: 'text/javascript', body });
}

// Runs in the page: texts and labels outside of brackets, but names, numbers and code.
function findOthers() {
    const exempt =
        'code, script, style, #caption, option, #system-facts dd, #name, title, #checksums, #costs, #sphere text';
    const others = [];
    const check = (element, text) => {
        if (/\p{L}{2}/u.test(text) && !/^\[.*\]$/s.test(text.trim()) && !element.closest(exempt))
            others.push(text.trim());
    };
    const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
    while (walker.nextNode()) check(walker.currentNode.parentElement, walker.currentNode.data);
    for (const name of ['aria-label', 'title']) {
        for (const each of document.querySelectorAll(`[${name}]`)) check(each, each.getAttribute(name));
    }
    return others;
}

test('every text is in the table', async () => {
    const page = await openAnother(async (other) => {
        await other.setCacheEnabled(false);
        await other.setRequestInterception(true);
        other.on('request', replaceTexts);
    });
    await page.$$eval('details', (all) => all.forEach((details) => (details.open = true)));
    await page.click('#masks-draw');
    await page.click('#masks-corner');
    await wait(2000);
    assert.match(await page.$eval('#masks-draw', (button) => button.textContent), /^\[/);
    assert.deepEqual(await page.evaluate(findOthers), []);
});
