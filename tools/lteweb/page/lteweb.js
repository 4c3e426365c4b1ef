"use strict";

fetch("api/status").then((answer) => answer.json()).then((answer) => {
    document.getElementById("status").textContent = JSON.stringify(answer, null, 2);
});
