// The bus as a table: search, changed values marked, any key settable, its words offered.

import {drawSoon, element, offer, panel, setText} from '../shared/dom.js';
import {listen, model} from '../shared/model.js';
import {send} from '../shared/server.js';
import {commandKeys, wordsOf} from '../shared/words.js';

const search =
    element('input', {type: 'search', placeholder: 'Search keys', 'aria-label': 'Search the keys'});
const body = element('tbody');
const key = element('input', {
    type: 'text',
    id: 'set-key',
    placeholder: 'key',
    'aria-label': 'Key',
    list: 'known-keys',
    spellcheck: 'false',
    autocapitalize: 'off',
    autocomplete: 'off'
});
const value = element('input', {
    type: 'text',
    id: 'set-value',
    placeholder: 'value',
    'aria-label': 'Value',
    list: 'key-words',
    spellcheck: 'false',
    autocapitalize: 'off',
    autocomplete: 'off',
    maxlength: 127
});
const knownKeys = element('datalist', {id: 'known-keys'});
const words = element('datalist', {id: 'key-words'});
const put = element('button', {type: 'submit'}, 'Set');

/** @type {Map<string, {row: HTMLTableRowElement, value: HTMLElement}>} */
const rows = new Map();

const command = () => `set ${key.value.trim()} ${value.value}`;

function offerWords() {
    words.replaceChildren(
        ...wordsOf(key.value.trim()).map((word) => element('option', {value: word})));
}

/** @param {string} name */
function edit(name) {
    key.value = name;
    value.value = model.bus.get(name) ?? '';
    offerWords();
    value.focus();
    value.select();
}

/** @param {string} name */
function makeRow(name) {
    const shown = element('td', {class: 'value'});
    const choose = element('button', {type: 'button', class: 'plain', title: `Set ${name}`}, name);
    choose.addEventListener('click', () => edit(name));
    const made = {
        row: element('tr', {'data-key': name}, element('th', {scope: 'row'}, choose), shown),
        value: shown
    };
    rows.set(name, made);
    return made;
}

const showAll = drawSoon(() => {
    for (const name of rows.keys()) {
        if (!model.bus.has(name)) rows.delete(name);
    }
    const names = [...model.bus.keys()].sort();
    const wanted = search.value.toLowerCase();
    body.replaceChildren(...names
                             .filter(
                                 (name) => name.toLowerCase().includes(wanted) ||
                                     (model.bus.get(name) ?? '').toLowerCase().includes(wanted))
                             .map((name) => (rows.get(name) ?? makeRow(name)).row));
    for (const [name, made] of rows) setText(made.value, model.bus.get(name) ?? '');
    knownKeys.replaceChildren(...[...new Set([...names, ...commandKeys])].sort().map(
        (name) => element('option', {value: name})));
});

/** @type {Set<string>} */
const changed = new Set();

const showChanged = drawSoon(() => {
    for (const name of changed) {
        const made = rows.get(name);
        if (made === undefined) {
            showAll();
            continue;
        }
        setText(made.value, model.bus.get(name) ?? '');
        // The mark fades by itself; to begin anew it has to be taken off first.
        made.row.classList.remove('changed');
        void made.row.offsetWidth;
        made.row.classList.add('changed');
    }
    changed.clear();
});

export function makeKeys() {
    const form = element('form', {class: 'set'}, key, value, put, knownKeys, words);
    offer(put, command);
    offer(value, command);
    key.addEventListener('input', offerWords);
    search.addEventListener('input', showAll);
    form.addEventListener('submit', (event) => {
        event.preventDefault();
        send(command());
    });
    listen('bus', showAll);
    listen('keys', (names) => {
        names.forEach((name) => changed.add(name));
        showChanged();
    });
    const made = panel(
        'keys', 'Keys', form,
        element(
            'div', {class: 'table', tabindex: '0', role: 'region', 'aria-label': 'Keys and values'},
            element(
                'table', {},
                element(
                    'thead', {class: 'sr'},
                    element(
                        'tr', {}, element('th', {scope: 'col'}, 'Key'),
                        element('th', {scope: 'col'}, 'Value'))),
                body)));
    made.querySelector('header')?.append(search);
    return made;
}
