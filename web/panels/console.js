// The command line at the page's foot: shows the command of what the pointer or the keyboard is on,
// what was sent last and what came of it, and takes any other.

import {element, setText} from '../shared/dom.js';
import {listen} from '../shared/model.js';
import {send} from '../shared/server.js';

const input = element('input', {
    type: 'text',
    'aria-label': 'Console command',
    placeholder: 'help',
    spellcheck: 'false',
    autocapitalize: 'off',
    autocomplete: 'off'
});
const answer =
    element('pre', {class: 'answer', hidden: true, tabindex: '0', 'aria-label': 'Answers'});
const last = element('span', {class: 'last', role: 'status'});
const offered = element('span', {class: 'offered', 'aria-hidden': 'true'});

/** @type {string[]} */
const history = [];
let place = 0;

const oneLine = (/** @type {string} */ commands) => commands.split('\n').join('  ·  ');

/** @param {number} step */
function recall(step) {
    place = Math.max(0, Math.min(history.length, place + step));
    input.value = history[place] ?? '';
}

async function submit() {
    const command = input.value.trim() || input.placeholder;
    history.push(command);
    place = history.length;
    input.value = '';
    const {answers} = await send(command);
    answer.hidden = answers.length === 0;
    answer.textContent = answers.map((line) => line.replace(/^= /, '')).join('\n');
}

export function makeConsole() {
    const form = element(
        'form', {class: 'line'}, element('span', {class: 'prompt', 'aria-hidden': 'true'}, '›'),
        input, offered, last);
    form.addEventListener('submit', (event) => {
        event.preventDefault();
        submit();
    });
    input.addEventListener('keydown', (event) => {
        if (event.key === 'ArrowUp')
            recall(-1);
        else if (event.key === 'ArrowDown')
            recall(1);
        else if (event.key === 'Escape')
            answer.hidden = true;
        else
            return;
        event.preventDefault();
    });
    listen('offered', (commands) => {
        setText(offered, oneLine(commands));
        form.classList.toggle('offering', commands !== '');
    });
    listen('sent', ({text, ok, answers}) => {
        const trouble = answers.find((line) => /error|FAIL|does not answer/.test(line));
        setText(
            last,
            ok && !trouble ? `sent: ${oneLine(text)}` :
                             `${oneLine(text)}: ${(trouble ?? 'refused').replace(/^= /, '')}`);
        last.classList.toggle('bad', !ok || trouble !== undefined);
    });
    return element('footer', {class: 'console'}, answer, form);
}
