'use strict';
// Filters and sorts the rows of an index. Without it the index is a table in the order of folders.
(() => {
    const table = document.querySelector('table.index');
    const groups = [...table.tBodies];
    const rows = groups.flatMap((group) => [...group.rows].filter((row) => !row.classList.contains('folder')));
    const places = new Map(rows.map((row) => [row, row.parentElement]));
    const texts = new Map(rows.map((row) => [row, row.textContent.toLowerCase()]));
    const flat = table.appendChild(document.createElement('tbody'));
    const filter = document.getElementById('filter');
    const count = document.getElementById('count');
    const collator = new Intl.Collator(undefined, { numeric: true, sensitivity: 'base' });

    function showCount() {
        const shown = rows.filter((row) => !row.hidden).length;
        count.textContent = shown === rows.length ? '' : `${shown} of ${rows.length}`;
        for (const group of groups) {
            group.hidden = ![...group.rows].some((row) => !row.hidden && !row.classList.contains('folder'));
        }
        flat.hidden = flat.rows.length === 0;
    }

    function applyFilter() {
        const words = filter.value.toLowerCase().split(/\s+/).filter((word) => word !== '');
        for (const row of rows) {
            row.hidden = !words.every((word) => texts.get(row).includes(word));
        }
        showCount();
    }

    function keyOf(row, column) {
        const cell = row.cells[column];
        return cell.dataset.value || cell.textContent;
    }

    // Rows without a value come last, whichever the order.
    function sortRows(column, sign) {
        const keyed = rows.map((row) => [keyOf(row, column), row]);
        keyed.sort(([a], [b]) => (a === '') - (b === '') || sign * collator.compare(a, b));
        flat.append(...keyed.map(([, row]) => row));
    }

    function restore() {
        for (const row of rows) {
            places.get(row).append(row);
        }
    }

    // Upwards, downwards, and back to the folders.
    function toggle(head, column) {
        const next = { none: 'ascending', ascending: 'descending', descending: 'none' }[head.ariaSort ?? 'none'];
        for (const each of table.tHead.rows[0].cells) {
            each.removeAttribute('aria-sort');
        }
        if (next === 'none') {
            restore();
        } else {
            head.setAttribute('aria-sort', next);
            sortRows(column, next === 'ascending' ? 1 : -1);
        }
        showCount();
    }

    [...table.tHead.rows[0].cells].forEach((head, column) => {
        if (head.classList.contains('picture')) {
            return;
        }
        const button = document.createElement('button');
        button.type = 'button';
        button.textContent = head.textContent;
        button.addEventListener('click', () => toggle(head, column));
        head.replaceChildren(button);
    });
    filter.addEventListener('input', applyFilter);
    document.querySelector('.filter').hidden = false;
    showCount();
})();
