// Which runs the statistics are of. The station has the page made beside its own work, and says when it is there.

const kLookMs = 300;

const find = (name) => document.querySelector(name);
const form = find('form');
const token = find('meta[name=page-token]').content;
let texts = {};

const wait = (ms) => new Promise((done) => setTimeout(done, ms));
const ask = async (path, how) => (await fetch(path, how)).json();

async function make() {
  const filters = Object.fromEntries(new FormData(form));
  const headers = {'Content-Type': 'application/json', 'X-Page-Token': token};
  const answer = await ask('/inquiry', {method: 'POST', headers, body: JSON.stringify(filters)});
  if (!answer.done) return texts.refused[answer.code] ?? answer.text;
  for (;;) {
    const {phase, problem} = await ask('/inquiry');
    if (phase === 'done') return location.assign('/inquiry.html');
    if (phase !== 'working') return `${texts.page.failed} ${problem ?? ''}`;
    await wait(kLookMs);
  }
}

async function submitted(event) {
  event.preventDefault();
  const button = find('button');
  button.disabled = true;
  find('#told').textContent = texts.page.working;
  find('#told').textContent = await make().catch(() => texts.page.lost) ?? '';
  button.disabled = false;
}

async function start() {
  texts = await ask('/texts.json');
  document.title = find('h1').textContent = texts.page['runs-title'];
  find('button').textContent = texts.page.show;
  for (const label of form.querySelectorAll('label')) label.children[0].textContent = texts.page[label.children[1].name];
  for (const option of form.querySelectorAll('option')) {
    option.value = option.textContent;
    option.textContent = texts.verdicts[option.value] ?? texts.page.any;
  }
  form.addEventListener('submit', submitted);
}

start();
